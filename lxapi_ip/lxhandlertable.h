// The per-class table from pixel format to handler, and the static info objects of the module types.
// A table is filled once when the library is loaded, from a constant list, and only read afterwards.
#pragma once

#include "frame/lxmoduleregistry.h"
#include "lxpixelformatname.h"

#include <GenICam/GCException.h>
#include <lxapi/ilxconverter.h>
#include <lxapi/ilxfilter.h>
#include <lxapi/lxapi_tl.h>

#include <initializer_list>
#include <map>
#include <utility>

template <class Handler>
class CLxHandlerTable {
public:
    CLxHandlerTable(std::initializer_list<std::pair<const uint32_t, Handler>> pairs) : m_map(pairs) {}

    // The handler of `pixelFormat`, or null.
    Handler Find(uint32_t pixelFormat) const {
        const auto it = m_map.find(pixelFormat);
        return it == m_map.end() ? nullptr : it->second;
    }
    bool Contains(uint32_t pixelFormat) const { return m_map.count(pixelFormat) != 0; }
    size_t Size() const { return m_map.size(); }

    // The handler of the image's format; "Not supported pixelformat %s" if there is none, with the
    // code in hex when the sister library does not know it either.
    Handler Require(uint32_t pixelFormat) const {
        const Handler handler = Find(pixelFormat);
        if (!handler)
            throw RUNTIME_EXCEPTION("Not supported pixelformat %s", lxip::PixelFormatName(pixelFormat).c_str());
        return handler;
    }

private:
    std::map<uint32_t, Handler> m_map;
};

// The info object of a filter class: type, display name, and the support test through the class's
// handler table. One static object per class.
template <class Filter>
class CFilterInfo : public ILxFilterInfo {
public:
    ELxFilterType_t GetFilterType() override { return Filter::FilterType; }
    GenICam::gcstring GetDisplayName() override { return lxip::RecordOf(Filter::FilterType).displayName; }
    bool IsSupportedPixelFormat(uint32_t pixelFormat) override { return Filter::Handlers().Contains(pixelFormat); }

    static CFilterInfo& Instance() {
        static CFilterInfo info;
        return info;
    }
};
