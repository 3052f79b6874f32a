// The registry of module types: one row per type of each kind, from which the exported factories,
// GetILxFilterInfo, the info objects' display names and the modules' description ids are all taken.
// The rows live in lxapi_ip.cpp, beside the exports.
#pragma once

#include <lxapi/ilxconverter.h>
#include <lxapi/ilxfiler.h>
#include <lxapi/ilxfilter.h>

#include <cstdint>

namespace lxip {

template <class Type, class Releasable, class Info>
struct ModuleRecord {
    Type type;
    const char* typeName;    // the enumeration constant's name, as the "not yet available" text says it
    const char* displayName; // what the info object answers
    int32_t resourceId;      // the module's description; 0 while the build holds none
    Releasable* (*create)(); // null while the build holds no module of this type
    Info* (*info)();         // the static info object, for the kinds that have one
};

using FilterRecord = ModuleRecord<ELxFilterType_t, ILxFilterReleasable, ILxFilterInfo>;
using ConverterRecord = ModuleRecord<ELxConverterType_t, ILxConverterReleasable, void>;
using FilerRecord = ModuleRecord<ELxFilerType_t, ILxFilerReleasable, void>;

// The row of a type that exists (the modules ask for their own).
const FilterRecord& RecordOf(ELxFilterType_t type) noexcept;
const ConverterRecord& RecordOf(ELxConverterType_t type) noexcept;
const FilerRecord& RecordOf(ELxFilerType_t type) noexcept;

} // namespace lxip
