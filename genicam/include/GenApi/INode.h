// GenApi::INode: what every node of a node map tells about itself, and the access-mode helpers.
#pragma once

#include <GenApi/IPort.h>
#include <GenApi/Types.h>
#include <GenICam/GCApiDef.h>
#include <GenICam/GCString.h>

#include <vector>

namespace GenApi {

class INode;
class INodeMap;
class IValue;

using NodeList_t = std::vector<INode*>;
using FeatureList_t = std::vector<IValue*>;
using StringList_t = GenICam::gcstring_vector;

class GENAPI_API INode : virtual public IBase {
public:
    // The node's name as the description declares it.
    virtual GenICam::gcstring GetName(bool FullQualified = false) const = 0;
    virtual ENameSpace GetNameSpace() const = 0;
    virtual EVisibility GetVisibility() const = 0;
    // Marks every value cached by this node, and by all nodes that depend on it, as stale.
    virtual void InvalidateNode() = 0;
    virtual bool IsCachable() const = 0;
    virtual ECachingMode GetCachingMode() const = 0;
    virtual GenICam::gcstring GetToolTip() const = 0;
    virtual GenICam::gcstring GetDescription() const = 0;
    // The display name, or the name if the description gives none.
    virtual GenICam::gcstring GetDisplayName() const = 0;
    virtual EInterfaceType GetPrincipalInterfaceType() const = 0;
    virtual bool IsStreamable() const = 0;
    // True for the nodes a category lists.
    virtual bool IsFeature() const = 0;
    // The nodes this node reads (children) and the nodes that read this one (parents).
    virtual void GetChildren(NodeList_t& Children) const = 0;
    virtual void GetParents(NodeList_t& Parents) const = 0;
    virtual INodeMap* GetNodeMap() const = 0;

protected:
    ~INode() override = default;
};

inline bool IsReadable(EAccessMode mode) { return mode == RO || mode == RW; }
inline bool IsWritable(EAccessMode mode) { return mode == WO || mode == RW; }
inline bool IsAvailable(EAccessMode mode) { return mode != NA && mode != NI; }
inline bool IsImplemented(EAccessMode mode) { return mode != NI; }

inline bool IsReadable(const IBase* p) { return p && IsReadable(p->GetAccessMode()); }
inline bool IsWritable(const IBase* p) { return p && IsWritable(p->GetAccessMode()); }
inline bool IsAvailable(const IBase* p) { return p && IsAvailable(p->GetAccessMode()); }
inline bool IsImplemented(const IBase* p) { return p && IsImplemented(p->GetAccessMode()); }

// "RW", "RO", ... for messages and listings.
inline const char* AccessModeName(EAccessMode mode) {
    switch (mode) {
    case NI: return "NI";
    case NA: return "NA";
    case WO: return "WO";
    case RO: return "RO";
    case RW: return "RW";
    default: return "undefined";
    }
}

} // namespace GenApi
