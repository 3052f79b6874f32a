// The info object of a filer type: its kind and its display name, both from the registry row.
#pragma once

#include "frame/lxmoduleregistry.h"

template <class Filer>
class CFilerInfo : public ILxFilerInfo {
public:
    ELxFilerType_t GetFilerType() override { return Filer::FilerType; }
    GenICam::gcstring GetDisplayName() override { return lxip::RecordOf(Filer::FilerType).displayName; }

    static CFilerInfo& Instance() {
        static CFilerInfo info;
        return info;
    }
};
