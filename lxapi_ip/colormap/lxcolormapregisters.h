// The colour map registers as the converter and both filers declare them: type and phase checked
// against their setters' ranges, the inversion stored as written. Each module names its own register
// nodes and fields (the fields are private, so the module's declarations take their addresses).
#pragma once

#include "frame/lxregisterbinding.h"

#include <cstdint>

namespace lxip {

template <class C, const RegisterNode& TypeNode, const RegisterNode& InversionNode, const RegisterNode& PhaseNode,
          int32_t C::*TypeField, bool C::*InversionField, int32_t C::*PhaseField>
struct ColorMapRegisters {
    static constexpr auto ColorMapType = Bind<C>(TypeNode)
                                             .Field(TypeField)
                                             .Range(IntegerBelow("eCMT", 0, 3))
                                             .Write(WriteRule::Checked)
                                             .LengthChecked();
    // "ColorMapInversonReg" names no node: a typed change is stored and nothing is invalidated.
    static constexpr auto ColorMapInversion =
        Bind<C>(InversionNode).Field(InversionField).Notifies("ColorMapInversonReg").LengthChecked();
    static constexpr auto ColorMapPhase = Bind<C>(PhaseNode)
                                              .Field(PhaseField)
                                              .Range(IntegerBelow("nPhase", 0, 256))
                                              .Write(WriteRule::Checked)
                                              .LengthChecked();
};

} // namespace lxip
