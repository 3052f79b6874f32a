// The base of every module: callback registry, the module's GenICam description loaded on first use,
// the register port "IPPort" behind which all parameters lie, and a pool of temporary image buffers.
#pragma once

#include "frame/lxregisterbinding.h"
#include "lxiputil.h"
#include "lxresources.h"

#include <GenApi/GenApi.h>
#include <lxapi/lxapi_tl.h>
#include <lxsdkcommon/lxcallbackmanager.h>

#include <atomic>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

template <class T>
class CLxIPModuleBase : public T, public GenApi::IPort {
public:
    // `registers` are the module's register declarations and `owner` the module object they are
    // served on (the most derived `this`).
    CLxIPModuleBase(int32_t resourceId, lxip::RegisterFileView registers, void* owner)
        : m_resourceId(resourceId), m_accessMode(GenApi::RW), m_portName("IPPort"), m_nodeMap("Device"),
          m_registers(registers), m_registerOwner(owner) {}

    CLxIPModuleBase(const CLxIPModuleBase&) = delete;
    CLxIPModuleBase& operator=(const CLxIPModuleBase&) = delete;

    ~CLxIPModuleBase() override {
        GenApi::AutoLock guard(m_poolLock);
        for (ILxImageBufferReleasable* buffer : m_allBuffers) {
            try {
                buffer->Release();
            } catch (...) {
            }
        }
        m_allBuffers.clear();
        m_freeBuffers.clear();
    }

    void Release() override { delete this; }

    LX_CALLBACK_HANDLE RegisterCallback(ILxCallback* callback) override {
        return m_callbackManager.RegisterCallback(callback);
    }
    void DeregisterCallback(LX_CALLBACK_HANDLE handle) override { m_callbackManager.DeregisterCallback(handle); }

    // Loads the embedded description at the first call and connects this module's port to it. Two
    // first calls on two threads at once are not supported.
    GenApi::INodeMap* GetINodeMap() override {
        if (m_nodeMapReady.load(std::memory_order_acquire)) return m_nodeMap._GetNodeMap();
        const lxip::LxResource resource = lxip::FindDescriptionResource(m_resourceId);
        if (resource.data) {
            lxip::TranslateBadAlloc([&] {
                m_nodeMap._LoadXMLFromString(GenICam::gcstring(resource.data, resource.size));
                return 0;
            });
        }
        // On an empty reference this raises "Feature not present (reference not valid)".
        m_nodeMap._Connect(this, m_portName);
        m_nodeMapReady.store(true, std::memory_order_release);
        return m_nodeMap._GetNodeMap();
    }

    // IPort. The register file is no memory block: each step asks the module for the register at the
    // address; an address without a register is skipped up to the next multiple of 4 and leaves the
    // buffer as it was.
    void Read(void* buffer, int64_t address, int64_t length) override {
        Walk(static_cast<uint8_t*>(buffer), address, length,
             [this](uint8_t* p, int64_t a, int64_t* n) { return ReadRegister(p, a, n); });
    }
    void Write(const void* buffer, int64_t address, int64_t length) override {
        Walk(static_cast<const uint8_t*>(buffer), address, length,
             [this](const uint8_t* p, int64_t a, int64_t* n) { return WriteRegister(p, a, n); });
    }
    GenApi::EAccessMode GetAccessMode() const override { return m_accessMode; }

    // The base answers address 0 (SizeTSize: one byte, the width of size_t) for every module, and the
    // module's declared registers at theirs. A module with registers of another shape overrides these.
    virtual bool ReadRegister(void* buffer, int64_t address, int64_t* length) {
        if (address == 0) {
            if (*length < 1) lxip::ThrowShortLength(*length, 1);
            *static_cast<uint8_t*>(buffer) = static_cast<uint8_t>(sizeof(size_t));
            *length = 1;
            return true;
        }
        const lxip::RegisterEntry* e = m_registers.Find(address);
        return e && e->read(e->binding, m_registerOwner, buffer, length);
    }
    virtual bool WriteRegister(const void* buffer, int64_t address, int64_t* length) {
        const lxip::RegisterEntry* e = m_registers.Find(address);
        return e && e->write(e->binding, m_registerOwner, buffer, length);
    }

protected:
    // ---- used by the register declarations ----
    // Guards the parameters that the declarations keep in fields of the module.
    GenApi::CLock& ParameterLock() noexcept { return m_parameterLock; }

    // Invalidates the node `registerName` so that cached feature values are read anew. Does nothing
    // before the description is loaded; a missing node or any failure is dropped, so that a setter
    // never fails because of its node.
    void NotifyRegisterChanged(const GenICam::gcstring& registerName) noexcept {
        if (!m_nodeMapReady.load(std::memory_order_acquire)) return;
        try {
            GenApi::INode* node = GetINodeMap()->GetNode(registerName);
            if (node) node->InvalidateNode();
        } catch (...) {
        }
    }

    ILxImageBufferReleasable* AcquireTemporaryBuffer() {
        GenApi::AutoLock guard(m_poolLock);
        if (!m_freeBuffers.empty()) {
            ILxImageBufferReleasable* buffer = m_freeBuffers.front();
            m_freeBuffers.erase(m_freeBuffers.begin());
            return buffer;
        }
        ILxImageBufferReleasable* buffer = CreateILxImageBuffer(nullptr);
        try {
            m_allBuffers.push_back(buffer);
        } catch (const std::bad_alloc& e) {
            buffer->Release();
            throw BAD_ALLOC_EXCEPTION("%s", e.what());
        }
        return buffer;
    }
    void ReleaseTemporaryBuffer(ILxImageBufferReleasable* buffer) noexcept {
        if (!buffer) return;
        GenApi::AutoLock guard(m_poolLock);
        try {
            m_freeBuffers.push_back(buffer);
        } catch (...) {
            // The owning list still holds it; it is released with the module.
        }
    }

    // Holds a pooled buffer for one scope and gives it back on every way out.
    class TemporaryBuffer {
    public:
        explicit TemporaryBuffer(CLxIPModuleBase& owner) : m_owner(owner), m_buffer(owner.AcquireTemporaryBuffer()) {}
        ~TemporaryBuffer() { m_owner.ReleaseTemporaryBuffer(m_buffer); }
        TemporaryBuffer(const TemporaryBuffer&) = delete;
        TemporaryBuffer& operator=(const TemporaryBuffer&) = delete;
        ILxImageBufferReleasable* operator->() const { return m_buffer; }
        ILxImageBufferReleasable* Get() const { return m_buffer; }

    private:
        CLxIPModuleBase& m_owner;
        ILxImageBufferReleasable* m_buffer;
    };

    // One register at a time: a served register advances by its width, an address without one by the
    // step to the next multiple of 4, with nothing written for it. The walk ends where the request
    // ends, or where the next address would pass the largest address there is.
    template <class Byte, class Access>
    static void Walk(Byte* p, int64_t address, int64_t length, Access&& access) {
        while (length > 0) {
            int64_t n = length;
            int64_t step = access(p, address, &n) ? n : 4 - (address & 3);
            if (step <= 0 || step >= length) return;
            if (address > std::numeric_limits<int64_t>::max() - step) return;
            p += step;
            address += step;
            length -= step;
        }
    }

    CLxCallbackManager m_callbackManager;
    int32_t m_resourceId;
    GenApi::EAccessMode m_accessMode;
    const char* m_portName;
    GenApi::CNodeMapRef m_nodeMap;
    // Read by every typed setter while the first GetINodeMap() may be setting it on another thread.
    std::atomic<bool> m_nodeMapReady{false};
    GenApi::CLock m_workLock;
    GenApi::CLock m_poolLock;
    std::vector<ILxImageBufferReleasable*> m_allBuffers;
    std::vector<ILxImageBufferReleasable*> m_freeBuffers;
    GenApi::CLock m_parameterLock;
    lxip::RegisterFileView m_registers;
    void* m_registerOwner;

    template <class, class>
    friend class lxip::RegisterBinding;
};
