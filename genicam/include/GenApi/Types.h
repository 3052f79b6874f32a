// Basic enumerations of the GenApi interfaces.
#pragma once

#include <cstdint>

namespace GenApi {

// Access mode of a node or port.
enum EAccessMode {
    NI,  // not implemented
    NA,  // not available
    WO,  // write only
    RO,  // read only
    RW,  // read and write
    _UndefinedAccesMode,
    _CycleDetectAccesMode
};

} // namespace GenApi
