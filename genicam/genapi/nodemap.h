// CNodeMap: the nodes of one description, their index by name, the ports and the one lock.
#pragma once

#include "nodebase.h"

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace GenApi {

class CPortNode;

class CNodeMap final : public INodeMap {
public:
    explicit CNodeMap(std::string deviceName);
    ~CNodeMap() override;

    // INodeMap
    void GetNodes(NodeList_t& Nodes) const override;
    INode* GetNode(const GenICam::gcstring& Name) const override;
    void InvalidateNodes() const override;
    void Connect(IPort* pPort, const GenICam::gcstring& PortName) const override;
    void Connect(IPort* pPort) const override;
    GenICam::gcstring GetDeviceName() override { return m_deviceName; }
    CLock& GetLock() const override { return m_lock; }
    uint64_t GetNumNodes() const override { return m_named.size(); }

    // ---- engine-internal ----
    // Takes ownership. Named nodes are found by GetNode; anonymous ones (inline formulas of a
    // register address) only belong to the node that declares them.
    CNodeBase* Add(std::unique_ptr<CNodeBase> node, bool named);
    CNodeBase* Find(const std::string& name) const;
    const std::vector<CNodeBase*>& NamedNodes() const noexcept { return m_named; }
    const std::vector<std::unique_ptr<CNodeBase>>& AllNodes() const noexcept { return m_nodes; }
    void AddPort(CPortNode* port) { m_ports.push_back(port); }

    // Drops the caches of `from` and of every node that depends on it, directly or not.
    void Invalidate(CNodeBase* from);
    bool IgnoringCache() const noexcept { return m_ignoreCache > 0; }
    // One read through the public interface (see CReadScope). Each outermost read has a number of
    // its own; 0 outside any read.
    void BeginRead(bool ignoreCache) noexcept {
        if (m_reads++ == 0) ++m_readNumber;
        if (ignoreCache) ++m_ignoreCache;
    }
    void EndRead(bool ignoreCache) noexcept {
        --m_reads;
        if (ignoreCache) --m_ignoreCache;
    }
    uint64_t ReadNumber() const noexcept { return m_reads > 0 ? m_readNumber : 0; }

    // Facts from the description's root element.
    std::string m_modelName;
    std::string m_vendorName;

private:
    std::string m_deviceName;
    mutable CLock m_lock;
    std::vector<std::unique_ptr<CNodeBase>> m_nodes;
    std::vector<CNodeBase*> m_named;
    std::unordered_map<std::string, CNodeBase*> m_byName;
    std::vector<CPortNode*> m_ports;
    uint32_t m_stamp = 0;
    std::vector<CNodeBase*> m_walk; // reused by Invalidate
    int m_ignoreCache = 0;
    int m_reads = 0;
    uint64_t m_readNumber = 0;
};

// Builds a node map from a description; throws a GenICam exception naming the node at fault.
std::unique_ptr<CNodeMap> LoadNodeMap(const std::string& xml, const std::string& deviceName);

} // namespace GenApi
