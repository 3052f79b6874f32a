// The pixel format converter as the converter tests drive it: made through the factory, reached
// through its typed interface and its register port.
#pragma once

#include "lxmoduletest.h"

#include <GenApi/GenApi.h>
#include <lxapi/ilxpixelformatconverter.h>

namespace lxtest {

struct Converter {
    ConverterPtr module{CreateILxConverter(LxConverterType_PixelFormat)};
    ILxPixelFormatConverter* typed = dynamic_cast<ILxPixelFormatConverter*>(module.Get());
    GenApi::IPort* port = dynamic_cast<GenApi::IPort*>(module.Get());

    void Into(ILxImage* source, ILxImageBuffer* destination, uint32_t format) {
        typed->SetDestinationPixelFormat(format);
        module->Convert(source, destination);
    }
    BufferPtr Run(ILxImage* source, uint32_t format) {
        BufferPtr out(CreateILxImageBuffer(nullptr));
        Into(source, out.Get(), format);
        return out;
    }
    BufferPtr Run(const BufferPtr& source, uint32_t format) { return Run(source->GetILxImage(), format); }
    template <class V>
    void WriteRegister(int64_t address, V value) {
        port->Write(&value, address, sizeof value);
    }
};

} // namespace lxtest
