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

// Who should see a feature in a user interface.
enum EVisibility { Beginner = 0, Expert = 1, Guru = 2, Invisible = 3, _UndefinedVisibility = 99 };

// Whether a feature belongs to the standard feature naming convention or to its maker.
enum ENameSpace { Custom, Standard, _UndefinedNameSpace };

// How a register keeps the value it last read.
enum ECachingMode { NoCache, WriteThrough, WriteAround, _UndefinedCachingMode };

// How a number is best shown to a user.
enum ERepresentation {
    Linear,
    Logarithmic,
    Boolean,
    PureNumber,
    HexNumber,
    IPV4Address,
    MACAddress,
    _UndefinedRepresentation
};

// Byte order of a register.
enum EEndianess { BigEndian, LittleEndian, _UndefinedEndian };

// Whether the bits of a register hold a two's complement number.
enum ESign { Signed, Unsigned, _UndefinedSign };

// How a converter's value changes with the value it converts.
enum ESlope { Increasing, Decreasing, Varying, Automatic, _UndefinedESlope };

// The main interface a node implements.
enum EInterfaceType {
    intfIValue,
    intfIBase,
    intfIInteger,
    intfIBoolean,
    intfICommand,
    intfIFloat,
    intfIString,
    intfIRegister,
    intfICategory,
    intfIEnumeration,
    intfIEnumEntry,
    intfIPort
};

} // namespace GenApi
