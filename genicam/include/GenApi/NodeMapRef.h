// GenApi::CNodeMapRef: owns the node map built from one description.
#pragma once

#include <GenApi/INodeMap.h>
#include <GenApi/IPort.h>
#include <GenICam/GCApiDef.h>
#include <GenICam/GCString.h>

namespace GenApi {

class CNodeMap;

class GENAPI_API CNodeMapRef {
public:
    explicit CNodeMapRef(const GenICam::gcstring& DeviceName = "Device");
    ~CNodeMapRef();
    CNodeMapRef(const CNodeMapRef&) = delete;
    CNodeMapRef& operator=(const CNodeMapRef&) = delete;

    // Builds the node map from a description held in memory. A reference holds one map: a second
    // load raises RuntimeException "Node map already created".
    void _LoadXMLFromString(const GenICam::gcstring& XML);
    // Connects a port of the description by name; on an empty reference raises AccessException
    // "Feature not present (reference not valid)".
    void _Connect(IPort* pPort, const GenICam::gcstring& PortName);
    // Connects the first port of the description.
    void _Connect(IPort* pPort);
    // Destroys the node map; the reference is empty again afterwards.
    void _Destroy();
    // Null while the reference is empty.
    INodeMap* _GetNodeMap() const;
    // Null if the map has no such node; AccessException on an empty reference.
    INode* _GetNode(const GenICam::gcstring& Name) const;
    const GenICam::gcstring& _GetDeviceName() const { return m_deviceName; }

private:
    GenICam::gcstring m_deviceName;
    CNodeMap* m_pMap = nullptr;
};

} // namespace GenApi
