// Every embedded description against the module that carries it: the description loads, names every
// register node the port serves, and the port serves each register node whole at its address, keeps
// read-only registers as they are, and takes back what it gave for writable ones.
#include "frame/lxmoduleregistry.h"
#include "lxdescriptions.h"

#include "lxmoduletest.h"

#include <GenApi/GenApi.h>

#include <cstring>
#include <set>
#include <string>
#include <vector>

namespace {

const lxres::DescriptionRegisters* DescriptionOf(int32_t resourceId) {
    for (const lxres::DescriptionRegisters& d : lxres::AllDescriptions)
        if (d.resourceId == resourceId) return &d;
    return nullptr;
}

// Reads `length` bytes at `address` over a buffer of `fill` bytes.
std::vector<uint8_t> ReadOver(GenApi::IPort& port, int64_t address, int64_t length, uint8_t fill) {
    std::vector<uint8_t> bytes(static_cast<size_t>(length), fill);
    port.Read(bytes.data(), address, length);
    return bytes;
}

// Walks one module's description; returns the resource id it checked.
template <class Releasable>
int32_t CheckModule(Releasable* module, int32_t resourceId) {
    CLxAutoPtr<Releasable, Releasable> owner(module);
    auto* port = dynamic_cast<GenApi::IPort*>(module);
    EXPECT_NE(port, nullptr);
    const lxres::DescriptionRegisters* description = DescriptionOf(resourceId);
    EXPECT_NE(description, nullptr) << resourceId;
    if (!port || !description) return 0;
    GenApi::INodeMap* map = module->GetINodeMap();
    for (size_t i = 0; i < description->count; ++i) {
        const lxip::RegisterNode& r = description->registers[i];
        SCOPED_TRACE(std::string(description->modelName) + "." + r.name);
        EXPECT_NE(map->GetNode(r.name), nullptr);
        // A write-only register (a command) answers no read: it is only written, with 0.
        if (r.access == lxip::RegisterAccess::WO) {
            const std::vector<uint8_t> zero(static_cast<size_t>(r.length), 0);
            port->Write(zero.data(), r.address, r.length);
            continue;
        }
        // Served whole: what is read does not depend on what the buffer held before.
        const std::vector<uint8_t> value = ReadOver(*port, r.address, r.length, 0x00);
        EXPECT_EQ(value, ReadOver(*port, r.address, r.length, 0xFF));
        if (r.access == lxip::RegisterAccess::RO) {
            std::vector<uint8_t> other(value);
            for (uint8_t& b : other) b = static_cast<uint8_t>(~b);
            port->Write(other.data(), r.address, r.length);
        } else {
            port->Write(value.data(), r.address, r.length);
        }
        EXPECT_EQ(ReadOver(*port, r.address, r.length, 0x00), value);
    }
    return resourceId;
}

} // namespace

TEST(Descriptions, EveryEmbeddedDescriptionIsServedByItsModule) {
    std::set<int32_t> checked;
    for (int t = 0; t < 11; ++t) {
        const lxip::FilterRecord& r = lxip::RecordOf(ELxFilterType_t(t));
        if (r.create) checked.insert(CheckModule(r.create(), r.resourceId));
    }
    for (int t = 0; t < 2; ++t) {
        const lxip::ConverterRecord& r = lxip::RecordOf(ELxConverterType_t(t));
        if (r.create) checked.insert(CheckModule(r.create(), r.resourceId));
        const lxip::FilerRecord& f = lxip::RecordOf(ELxFilerType_t(t));
        if (f.create) checked.insert(CheckModule(f.create(), f.resourceId));
    }
    // No description is embedded without a module that serves it.
    for (const lxres::DescriptionRegisters& d : lxres::AllDescriptions)
        EXPECT_EQ(checked.count(d.resourceId), 1u) << d.modelName;
}

TEST(Descriptions, RegistryRowsAgreeWithTheirModules) {
    for (int t = 0; t < 11; ++t) {
        const lxip::FilterRecord& r = lxip::RecordOf(ELxFilterType_t(t));
        EXPECT_EQ(r.create == nullptr, r.info == nullptr) << r.typeName;
        if (!r.create) continue;
        CLxAutoPtr<ILxFilterReleasable, ILxFilter> f(r.create());
        EXPECT_EQ(f->GetFilterInfo(), r.info());
        EXPECT_EQ(std::string(f->GetFilterInfo()->GetDisplayName().c_str()), r.displayName);
        EXPECT_EQ(f->GetFilterInfo()->GetFilterType(), r.type);
    }
    for (int t = 0; t < 2; ++t) {
        const lxip::ConverterRecord& r = lxip::RecordOf(ELxConverterType_t(t));
        if (!r.create) continue;
        CLxAutoPtr<ILxConverterReleasable, ILxConverter> c(r.create());
        EXPECT_EQ(std::string(c->GetConverterInfo()->GetDisplayName().c_str()), r.displayName);
        EXPECT_EQ(c->GetConverterInfo()->GetConverterType(), r.type);
    }
}
