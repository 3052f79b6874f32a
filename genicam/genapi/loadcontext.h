// CLoadContext: what a node needs while it reads its XML element. Values are parsed strictly,
// references are resolved by name and recorded as edges of the dependency graph, and every
// failure is reported with the name of the node and of the element at fault.
#pragma once

#include "nodebase.h"

#include <pugixml.hpp>

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

namespace GenApi {

class CNodeMap;

// What a reference must point at.
enum class ERefKind {
    IntValue,  // an integer-valued node (Integer, IntReg, MaskedIntReg, IntSwissKnife, IntConverter)
    Numeric,   // an integer- or float-valued node
    Condition, // integer-valued or Boolean (pIsAvailable, pIsLocked, pIsImplemented)
    Variable,  // anything a formula can read: numbers, Booleans, enumerations
    Port,
    Feature,   // anything with a value interface (what a category may list)
    String,
    Any
};

class CLoadContext {
public:
    explicit CLoadContext(CNodeMap& map) : m_map(map) {}

    CNodeMap& Map() const noexcept { return m_map; }

    static std::string_view Text(const pugi::xml_node& element);
    int64_t Int(const CNodeBase& owner, const pugi::xml_node& element) const;
    double Float(const CNodeBase& owner, const pugi::xml_node& element) const;
    bool YesNo(const CNodeBase& owner, const pugi::xml_node& element) const;
    EAccessMode Access(const CNodeBase& owner, const pugi::xml_node& element) const;

    // One of a fixed set of words.
    template <class E>
    E Keyword(const CNodeBase& owner, const pugi::xml_node& element,
              std::initializer_list<std::pair<const char*, E>> words) const {
        const std::string_view text = Text(element);
        for (const auto& [word, value] : words)
            if (text == word) return value;
        BadValue(owner, element);
    }

    // Resolves the node named by the element's text and records that `owner` reads it.
    CNodeBase* Ref(CNodeBase& owner, const pugi::xml_node& element, ERefKind kind);
    // `owner` is invalidated whenever the node named by the element changes (pInvalidator).
    void AddInvalidator(CNodeBase& owner, const pugi::xml_node& element);
    // The node named by the element is invalidated whenever `selector` changes (pSelected).
    void AddSelected(CNodeBase& selector, const pugi::xml_node& element);
    // Records that `owner` reads `target` (for nodes made by the engine itself).
    static void AddReadEdge(CNodeBase& owner, CNodeBase& target);

    // Reads <constName> or <refName> into `source`; false if the element is neither.
    bool MatchInt(CNodeBase& owner, const pugi::xml_node& element, const char* constName, const char* refName,
                  CIntSource& source, ERefKind kind = ERefKind::IntValue);
    bool MatchFloat(CNodeBase& owner, const pugi::xml_node& element, const char* constName, const char* refName,
                    CFloatSource& source);

    // Reads the attributes and child elements of `node`'s element, then lets the node check itself.
    void LoadNode(CNodeBase& node, const pugi::xml_node& element);
    // An anonymous IntSwissKnife declared inline (a computed register address).
    CNodeBase* CreateInlineSwissKnife(CNodeBase& owner, const pugi::xml_node& element);

    [[noreturn]] void BadValue(const CNodeBase& owner, const pugi::xml_node& element) const;
    [[noreturn]] void Duplicate(const CNodeBase& owner, const pugi::xml_node& element) const;
    [[noreturn]] void Missing(const CNodeBase& owner, const char* elementName) const;

private:
    CNodeMap& m_map;
    int m_anonymousCount = 0;
};

bool AcceptsRef(const CNodeBase& target, ERefKind kind);

} // namespace GenApi
