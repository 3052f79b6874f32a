// GenApi::INodeMap: the nodes of one description, looked up by name, and their ports.
#pragma once

#include <GenApi/INode.h>
#include <GenApi/Synch.h>

namespace GenApi {

class GENAPI_API INodeMap {
public:
    // All named nodes, enumeration entries included.
    virtual void GetNodes(NodeList_t& Nodes) const = 0;
    // Null if there is no node of that name.
    virtual INode* GetNode(const GenICam::gcstring& Name) const = 0;
    // Drops every cached value of the map.
    virtual void InvalidateNodes() const = 0;
    // Connects a port node by its name; the port must outlive its use by the map.
    virtual void Connect(IPort* pPort, const GenICam::gcstring& PortName) const = 0;
    // Connects the first port of the description.
    virtual void Connect(IPort* pPort) const = 0;
    virtual GenICam::gcstring GetDeviceName() = 0;
    // The recursive lock that guards every node of the map.
    virtual CLock& GetLock() const = 0;
    virtual uint64_t GetNumNodes() const = 0;

protected:
    virtual ~INodeMap() = default;
};

} // namespace GenApi
