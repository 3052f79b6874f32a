#include "numericfeature.h"

#include <cmath>

namespace GenApi {

void CheckIntRange(const std::string& name, int64_t value, int64_t min, int64_t max, int64_t inc) {
    if (value < min)
        throw OUT_OF_RANGE_EXCEPTION("%s = %lld must be equal or greater than Min = %lld", name.c_str(),
                                     static_cast<long long>(value), static_cast<long long>(min));
    if (value > max)
        throw OUT_OF_RANGE_EXCEPTION("%s = %lld must be equal or smaller than Max = %lld", name.c_str(),
                                     static_cast<long long>(value), static_cast<long long>(max));
    // value - min cannot overflow as an unsigned difference, since min <= value.
    if (inc > 1 && (static_cast<uint64_t>(value) - static_cast<uint64_t>(min)) % static_cast<uint64_t>(inc) != 0)
        throw OUT_OF_RANGE_EXCEPTION("%s = %lld must be Min = %lld plus a multiple of Inc = %lld", name.c_str(),
                                     static_cast<long long>(value), static_cast<long long>(min),
                                     static_cast<long long>(inc));
}

void CheckFloatRange(const std::string& name, double value, double min, double max) {
    if (std::isnan(value)) throw OUT_OF_RANGE_EXCEPTION("%s = %f is not a number", name.c_str(), value);
    if (value < min)
        throw OUT_OF_RANGE_EXCEPTION("%s = %f must be greater than or equal %f", name.c_str(), value, min);
    if (value > max)
        throw OUT_OF_RANGE_EXCEPTION("%s = %f must be smaller than or equal %f", name.c_str(), value, max);
}

ERepresentation ParseRepresentation(CLoadContext& ctx, const CNodeBase& owner, const pugi::xml_node& e) {
    return ctx.Keyword<ERepresentation>(owner, e,
                                        {{"Linear", Linear},
                                         {"Logarithmic", Logarithmic},
                                         {"Boolean", Boolean},
                                         {"PureNumber", PureNumber},
                                         {"HexNumber", HexNumber},
                                         {"IPV4Address", IPV4Address},
                                         {"MACAddress", MACAddress}});
}

} // namespace GenApi
