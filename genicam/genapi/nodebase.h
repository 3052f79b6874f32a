// CNodeBase: what all nodes share (names, texts, access-mode rules, dependency edges), and the
// engine-internal value access through which nodes read and write one another.
//
// Locking: every public interface call takes the node map's recursive lock; the engine-internal
// methods (IntValue, WriteInt, ...) expect it to be held already.
#pragma once

#include <GenApi/GenApi.h>

#include <cstdint>
#include <string>
#include <vector>

namespace pugi {
class xml_node;
}

namespace GenApi {

class CNodeMap;
class CLoadContext;

// What a node yields when another node reads it.
enum class EValueKind { None, Integer, Float, Boolean, Enumeration, EnumEntry, String, Command, Category, Port };

class CNodeBase : public virtual INode {
public:
    CNodeBase(CNodeMap& map, std::string name);
    ~CNodeBase() override;
    CNodeBase(const CNodeBase&) = delete;
    CNodeBase& operator=(const CNodeBase&) = delete;

    // IBase / INode
    EAccessMode GetAccessMode() const override;
    GenICam::gcstring GetName(bool FullQualified = false) const override;
    ENameSpace GetNameSpace() const override { return m_nameSpace; }
    EVisibility GetVisibility() const override { return m_visibility; }
    void InvalidateNode() override;
    bool IsCachable() const override { return GetCachingMode() != NoCache; }
    ECachingMode GetCachingMode() const override { return WriteThrough; }
    GenICam::gcstring GetToolTip() const override { return m_toolTip; }
    GenICam::gcstring GetDescription() const override { return m_description; }
    GenICam::gcstring GetDisplayName() const override;
    bool IsStreamable() const override { return m_streamable; }
    bool IsFeature() const override { return m_isFeature; }
    void GetChildren(NodeList_t& Children) const override;
    void GetParents(NodeList_t& Parents) const override;
    INodeMap* GetNodeMap() const override;

    // ---- engine-internal, map lock held ----
    const std::string& Name() const noexcept { return m_name; }
    virtual EValueKind ValueKind() const = 0;
    // Access mode after availability, imposed mode and lock.
    EAccessMode AccessMode() const;
    // Value as integer (booleans give 0 or 1, enumerations their integer value) or as double.
    virtual int64_t IntValue();
    virtual double FloatValue();
    virtual bool IsFloatValued() const { return ValueKind() == EValueKind::Float; }
    // Writes a value produced by another node (a converter, a feature over a register). Verify
    // asks for the node's own bound checks; storage nodes always refuse what they cannot hold.
    virtual void WriteInt(int64_t value, bool verify);
    virtual void WriteFloat(double value, bool verify);
    virtual int64_t IntMin();
    virtual int64_t IntMax();
    virtual int64_t IntInc();
    virtual double FloatMin();
    virtual double FloatMax();
    // Text of String and StringReg nodes.
    virtual std::string StringValue();
    virtual void WriteString(const std::string& value);
    virtual int64_t StringMaxLength();
    // Drops what the node itself caches; dependents are the map's business.
    virtual void DropCache() {}
    // True if reading the value now costs no port access.
    virtual bool ValueCacheValid() const;

    // ---- loading ----
    // Handles one child element of the node's element; false if the element is not its own.
    virtual bool LoadElement(CLoadContext& ctx, const pugi::xml_node& element);
    // Reads the attributes of the node's element (NameSpace).
    void LoadAttributes(CLoadContext& ctx, const pugi::xml_node& element);
    // Handles the elements every node may carry (texts, visibility, availability, ...).
    bool LoadCommonElement(CLoadContext& ctx, const pugi::xml_node& element);
    // Checks what the node needs once all its elements are read.
    virtual void FinishLoad(CLoadContext& ctx);
    void MarkAsFeature() noexcept { m_isFeature = true; }

    // ---- dependency graph, filled by the loader ----
    std::vector<CNodeBase*> m_children;   // nodes this one reads
    std::vector<CNodeBase*> m_parents;    // nodes that read this one
    std::vector<CNodeBase*> m_dependents; // invalidated whenever this one changes
    uint32_t m_visitStamp = 0;
    // True if the value comes, directly or through the nodes it reads, from a register that is read
    // anew each time (NoCache): nothing computed from it may be kept. Set by the loader.
    bool m_readsDeviceEachTime = false;
    // True for a register whose every read goes to the port.
    virtual bool IsReadEachTime() const { return false; }

protected:
    // Access mode of the node itself, before availability, imposed mode and lock apply.
    virtual EAccessMode BaseAccessMode() const = 0;
    void CheckReadable() const;
    void CheckWritable() const;
    // Called by storage nodes (registers, nodes with a local value) after a change.
    void Changed();
    CLock& MapLock() const;
    CNodeMap& Map() const noexcept { return m_map; }

    CNodeMap& m_map;
    std::string m_name;
    std::string m_toolTip;
    std::string m_description;
    std::string m_displayName;
    EVisibility m_visibility = Beginner;
    ENameSpace m_nameSpace = Custom;
    EAccessMode m_imposedAccess = RW;
    bool m_streamable = false;
    bool m_isFeature = false;
    CNodeBase* m_pIsImplemented = nullptr;
    CNodeBase* m_pIsAvailable = nullptr;
    CNodeBase* m_pIsLocked = nullptr;
};

// Combination of two access modes: the stricter one, RO with WO giving NA.
EAccessMode CombineAccess(EAccessMode a, EAccessMode b) noexcept;

// An element that is either a constant (Value, Min, Address, ...) or a reference to a node that
// supplies it (pValue, pMin, pAddress, ...).
struct CIntSource {
    bool present = false;
    int64_t constant = 0;
    CNodeBase* node = nullptr;
    int64_t Get() const { return node ? node->IntValue() : constant; }
};

struct CFloatSource {
    bool present = false;
    double constant = 0.0;
    CNodeBase* node = nullptr;
    double Get() const { return node ? node->FloatValue() : constant; }
};

// Implements IValue::GetNode and IsValueCacheValid for a node class derived from Base (CNodeBase
// or one of its families) with the value interface I.
template <class Base, class I>
class CValueNode : public Base, public I {
public:
    using Base::Base;
    INode* GetNode() override { return this; }
    bool IsValueCacheValid() const override {
        AutoLock lock(this->MapLock());
        return this->ValueCacheValid();
    }
};

// Marks one read through the public interface (a value, an access mode, a bound). Within one read a
// formula node computes its value at most once, even where the caches may not keep it (IgnoreCache,
// registers read anew each time), so that formulas over formulas never cost one evaluation per path.
// With `ignoreCache`, register reads bypass the caches (IgnoreCache of a GetValue call).
class CReadScope {
public:
    CReadScope(CNodeMap& map, bool ignoreCache);
    ~CReadScope();
    CReadScope(const CReadScope&) = delete;
    CReadScope& operator=(const CReadScope&) = delete;

private:
    CNodeMap& m_map;
    bool m_ignoreCache;
};

} // namespace GenApi
