#include <GenApi/NodeMapRef.h>

#include "nodemap.h"

#include <GenICam/GCException.h>

namespace GenApi {

CNodeMapRef::CNodeMapRef(const GenICam::gcstring& deviceName) : m_deviceName(deviceName) {}

CNodeMapRef::~CNodeMapRef() { delete m_pMap; }

void CNodeMapRef::_LoadXMLFromString(const GenICam::gcstring& xml) {
    if (m_pMap) throw RUNTIME_EXCEPTION("Node map already created");
    m_pMap = LoadNodeMap(xml.str(), m_deviceName.str()).release();
}

void CNodeMapRef::_Connect(IPort* port, const GenICam::gcstring& portName) {
    if (!m_pMap) throw ACCESS_EXCEPTION("Feature not present (reference not valid)");
    m_pMap->Connect(port, portName);
}

void CNodeMapRef::_Connect(IPort* port) {
    if (!m_pMap) throw ACCESS_EXCEPTION("Feature not present (reference not valid)");
    m_pMap->Connect(port);
}

void CNodeMapRef::_Destroy() {
    delete m_pMap;
    m_pMap = nullptr;
}

INodeMap* CNodeMapRef::_GetNodeMap() const { return m_pMap; }

INode* CNodeMapRef::_GetNode(const GenICam::gcstring& name) const {
    if (!m_pMap) throw ACCESS_EXCEPTION("Feature not present (reference not valid)");
    return m_pMap->GetNode(name);
}

} // namespace GenApi
