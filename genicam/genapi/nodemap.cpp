#include "nodemap.h"

#include "registers.h"

namespace GenApi {

CNodeMap::CNodeMap(std::string deviceName) : m_deviceName(std::move(deviceName)) {}

CNodeMap::~CNodeMap() = default;

CNodeBase* CNodeMap::Add(std::unique_ptr<CNodeBase> node, bool named) {
    CNodeBase* raw = node.get();
    if (named) {
        if (!m_byName.emplace(raw->Name(), raw).second) return nullptr;
        m_named.push_back(raw);
    }
    m_nodes.push_back(std::move(node));
    return raw;
}

CNodeBase* CNodeMap::Find(const std::string& name) const {
    const auto it = m_byName.find(name);
    return it == m_byName.end() ? nullptr : it->second;
}

void CNodeMap::GetNodes(NodeList_t& nodes) const {
    AutoLock lock(m_lock);
    nodes.assign(m_named.begin(), m_named.end());
}

INode* CNodeMap::GetNode(const GenICam::gcstring& name) const {
    AutoLock lock(m_lock);
    return Find(name.str());
}

void CNodeMap::InvalidateNodes() const {
    AutoLock lock(m_lock);
    for (const auto& node : m_nodes) node->DropCache();
}

void CNodeMap::Connect(IPort* port, const GenICam::gcstring& portName) const {
    AutoLock lock(m_lock);
    for (CPortNode* node : m_ports) {
        if (node->Name() != portName.str()) continue;
        node->Connect(port);
        return;
    }
    throw INVALID_ARGUMENT_EXCEPTION("The node map has no port named '%s'", portName.c_str());
}

void CNodeMap::Connect(IPort* port) const {
    AutoLock lock(m_lock);
    if (m_ports.empty()) throw INVALID_ARGUMENT_EXCEPTION("The node map has no port");
    m_ports.front()->Connect(port);
}

// Depth-first over the dependents; a stamp per walk marks the nodes already reached, so shared
// dependents are visited once and cycles of pInvalidator/pSelected edges end.
void CNodeMap::Invalidate(CNodeBase* from) {
    if (++m_stamp == 0) {
        for (const auto& node : m_nodes) node->m_visitStamp = 0;
        m_stamp = 1;
    }
    m_walk.clear();
    m_walk.push_back(from);
    while (!m_walk.empty()) {
        CNodeBase* node = m_walk.back();
        m_walk.pop_back();
        if (node->m_visitStamp == m_stamp) continue;
        node->m_visitStamp = m_stamp;
        node->DropCache();
        for (CNodeBase* dependent : node->m_dependents)
            if (dependent->m_visitStamp != m_stamp) m_walk.push_back(dependent);
    }
}

} // namespace GenApi
