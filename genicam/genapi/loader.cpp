// Builds a node map from a description in two passes over the XML: the first makes every node by
// its element and name, so that references may point forward; the second reads each node's
// elements, resolving references as it goes. The dependency graph is then completed and checked
// for cycles.
#include "enumeration.h"
#include "formulanodes.h"
#include "loadcontext.h"
#include "nodemap.h"
#include "registers.h"
#include "valuenodes.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <new>

namespace GenApi {

// ---------------------------------------------------------------- context helpers

std::string_view CLoadContext::Text(const pugi::xml_node& element) { return Num::Trim(element.child_value()); }

void CLoadContext::BadValue(const CNodeBase& owner, const pugi::xml_node& element) const {
    throw RUNTIME_EXCEPTION("Node '%s': <%s> has the invalid value '%s'", owner.Name().c_str(), element.name(),
                            std::string(Text(element)).c_str());
}

void CLoadContext::Duplicate(const CNodeBase& owner, const pugi::xml_node& element) const {
    throw RUNTIME_EXCEPTION("Node '%s': <%s> is given more than once", owner.Name().c_str(), element.name());
}

void CLoadContext::Missing(const CNodeBase& owner, const char* elementName) const {
    throw RUNTIME_EXCEPTION("Node '%s': <%s> is missing", owner.Name().c_str(), elementName);
}

int64_t CLoadContext::Int(const CNodeBase& owner, const pugi::xml_node& element) const {
    if (const auto value = Num::ParseInt64(Text(element))) return *value;
    BadValue(owner, element);
}

double CLoadContext::Float(const CNodeBase& owner, const pugi::xml_node& element) const {
    if (const auto value = Num::ParseDouble(Text(element))) return *value;
    BadValue(owner, element);
}

bool CLoadContext::YesNo(const CNodeBase& owner, const pugi::xml_node& element) const {
    return Keyword<bool>(owner, element, {{"Yes", true}, {"No", false}});
}

EAccessMode CLoadContext::Access(const CNodeBase& owner, const pugi::xml_node& element) const {
    return Keyword<EAccessMode>(owner, element, {{"RO", RO}, {"RW", RW}, {"WO", WO}});
}

bool AcceptsRef(const CNodeBase& target, ERefKind kind) {
    const EValueKind k = target.ValueKind();
    switch (kind) {
    case ERefKind::IntValue: return k == EValueKind::Integer;
    case ERefKind::Numeric: return k == EValueKind::Integer || k == EValueKind::Float;
    case ERefKind::Condition: return k == EValueKind::Integer || k == EValueKind::Boolean;
    case ERefKind::Variable:
        return k == EValueKind::Integer || k == EValueKind::Float || k == EValueKind::Boolean ||
               k == EValueKind::Enumeration || k == EValueKind::EnumEntry;
    case ERefKind::Port: return k == EValueKind::Port;
    case ERefKind::Feature: return k != EValueKind::Port && k != EValueKind::EnumEntry;
    case ERefKind::String: return k == EValueKind::String;
    case ERefKind::Any: return true;
    }
    return false;
}

namespace {

const char* KindText(ERefKind kind) {
    switch (kind) {
    case ERefKind::IntValue: return "an integer node";
    case ERefKind::Numeric: return "a number node";
    case ERefKind::Condition: return "an integer or Boolean node";
    case ERefKind::Variable: return "a node with a value";
    case ERefKind::Port: return "a port";
    case ERefKind::Feature: return "a feature";
    case ERefKind::String: return "a string node";
    case ERefKind::Any: return "a node";
    }
    return "a node";
}

void AddUnique(std::vector<CNodeBase*>& list, CNodeBase* node) {
    if (std::find(list.begin(), list.end(), node) == list.end()) list.push_back(node);
}

CNodeBase* Resolve(CNodeMap& map, const CNodeBase& owner, const pugi::xml_node& element) {
    const std::string target(CLoadContext::Text(element));
    CNodeBase* node = map.Find(target);
    if (!node)
        throw RUNTIME_EXCEPTION("Node '%s': <%s> refers to node '%s', which does not exist", owner.Name().c_str(),
                                element.name(), target.c_str());
    return node;
}

} // namespace

void CLoadContext::AddReadEdge(CNodeBase& owner, CNodeBase& target) {
    if (std::find(owner.m_children.begin(), owner.m_children.end(), &target) != owner.m_children.end()) return;
    owner.m_children.push_back(&target);
    target.m_parents.push_back(&owner);
}

CNodeBase* CLoadContext::Ref(CNodeBase& owner, const pugi::xml_node& element, ERefKind kind) {
    CNodeBase* node = Resolve(m_map, owner, element);
    if (!AcceptsRef(*node, kind))
        throw RUNTIME_EXCEPTION("Node '%s': <%s> refers to node '%s', which is not %s", owner.Name().c_str(),
                                element.name(), node->Name().c_str(), KindText(kind));
    AddReadEdge(owner, *node);
    return node;
}

void CLoadContext::AddInvalidator(CNodeBase& owner, const pugi::xml_node& element) {
    AddUnique(Resolve(m_map, owner, element)->m_dependents, &owner);
}

void CLoadContext::AddSelected(CNodeBase& selector, const pugi::xml_node& element) {
    AddUnique(selector.m_dependents, Resolve(m_map, selector, element));
}

bool CLoadContext::MatchInt(CNodeBase& owner, const pugi::xml_node& element, const char* constName,
                            const char* refName, CIntSource& source, ERefKind kind) {
    const std::string_view name = element.name();
    const bool isConst = name == constName;
    if (!isConst && name != refName) return false;
    if (source.present) Duplicate(owner, element);
    source.present = true;
    if (isConst) source.constant = Int(owner, element);
    else source.node = Ref(owner, element, kind);
    return true;
}

bool CLoadContext::MatchFloat(CNodeBase& owner, const pugi::xml_node& element, const char* constName,
                              const char* refName, CFloatSource& source) {
    const std::string_view name = element.name();
    const bool isConst = name == constName;
    if (!isConst && name != refName) return false;
    if (source.present) Duplicate(owner, element);
    source.present = true;
    if (isConst) source.constant = Float(owner, element);
    else source.node = Ref(owner, element, ERefKind::Numeric);
    return true;
}

void CLoadContext::LoadNode(CNodeBase& node, const pugi::xml_node& element) {
    node.LoadAttributes(*this, element);
    for (const pugi::xml_node& child : element.children()) {
        if (child.type() != pugi::node_element) continue;
        if (node.LoadElement(*this, child) || node.LoadCommonElement(*this, child)) continue;
        throw RUNTIME_EXCEPTION("Node '%s': element <%s> is not expected here", node.Name().c_str(), child.name());
    }
    node.FinishLoad(*this);
}

CNodeBase* CLoadContext::CreateInlineSwissKnife(CNodeBase& owner, const pugi::xml_node& element) {
    const std::string name = owner.Name() + "#Address" + std::to_string(++m_anonymousCount);
    CNodeBase* node = m_map.Add(std::make_unique<CIntSwissKnifeNode>(m_map, name), false);
    LoadNode(*node, element);
    AddReadEdge(owner, *node);
    return node;
}

// ---------------------------------------------------------------- the two passes

namespace {

using Factory = std::function<std::unique_ptr<CNodeBase>(CNodeMap&, const std::string&)>;

template <class T>
Factory Make() {
    return [](CNodeMap& map, const std::string& name) { return std::make_unique<T>(map, name); };
}

const Factory* FactoryFor(std::string_view element) {
    static const std::pair<const char*, Factory> factories[] = {
        {"Category", Make<CCategoryNode>()},
        {"Integer", Make<CIntegerNode>()},
        {"IntReg", Make<CIntRegNode>()},
        {"MaskedIntReg", Make<CMaskedIntRegNode>()},
        {"Float", Make<CFloatNode>()},
        {"FloatReg", Make<CFloatRegNode>()},
        {"Boolean", Make<CBooleanNode>()},
        {"Command", Make<CCommandNode>()},
        {"Enumeration", Make<CEnumerationNode>()},
        {"IntSwissKnife", Make<CIntSwissKnifeNode>()},
        {"SwissKnife", Make<CSwissKnifeNode>()},
        {"Converter", Make<CConverterNode>()},
        {"IntConverter", Make<CIntConverterNode>()},
        {"String", Make<CStringNode>()},
        {"StringReg", Make<CStringRegNode>()},
        {"Port", Make<CPortNode>()},
    };
    for (const auto& [name, factory] : factories)
        if (element == name) return &factory;
    return nullptr;
}

std::string NodeName(const pugi::xml_node& element) {
    const std::string name = element.attribute("Name").value();
    if (name.empty()) throw RUNTIME_EXCEPTION("A <%s> element has no Name attribute", element.name());
    return name;
}

CNodeBase* AddNamed(CNodeMap& map, std::unique_ptr<CNodeBase> node) {
    const std::string name = node->Name();
    CNodeBase* added = map.Add(std::move(node), true);
    if (!added) throw RUNTIME_EXCEPTION("Node '%s' is declared more than once", name.c_str());
    return added;
}

// First pass: one node per element, descending into groups. Groups may nest to any depth: the walk
// keeps the elements still to visit on a stack of its own instead of recursing.
void CreateNodes(CNodeMap& map, const pugi::xml_node& root,
                 std::vector<std::pair<CNodeBase*, pugi::xml_node>>& pending) {
    std::vector<pugi::xml_node> next; // the next sibling to visit at each open group
    next.push_back(root.first_child());
    while (!next.empty()) {
        const pugi::xml_node element = next.back();
        if (!element) {
            next.pop_back();
            continue;
        }
        next.back() = element.next_sibling();
        if (element.type() != pugi::node_element) continue;
        const std::string_view kind = element.name();
        if (kind == "Group") {
            next.push_back(element.first_child());
            continue;
        }
        const Factory* factory = FactoryFor(kind);
        if (!factory)
            throw RUNTIME_EXCEPTION("Node '%s': <%s> is not a node kind of this engine",
                                    element.attribute("Name").value(), element.name());
        const std::string name = NodeName(element);
        CNodeBase* node = AddNamed(map, (*factory)(map, name));
        pending.emplace_back(node, element);
        if (kind == "Port") map.AddPort(static_cast<CPortNode*>(node));
        if (kind == "Enumeration") {
            for (const pugi::xml_node& entry : element.children("EnumEntry")) {
                const std::string entryName = NodeName(entry);
                AddNamed(map, std::make_unique<CEnumEntryNode>(
                                  map, CEnumEntryNode::NodeName(name, entryName), entryName));
            }
        }
    }
}

// Longest chain of nodes one read may pass through. Nodes read one another by recursion, so the
// chain bounds the stack a read takes; no description of a real device comes near it.
constexpr size_t kMaxReadDepth = 256;

// Read edges must not form a cycle: evaluating a node would then never end. Depth-first search
// with three colours; a grey node met again closes a cycle. As each node is finished, the walk also
// takes the length of the longest chain of reads below it, refused beyond kMaxReadDepth, and whether
// its value comes from a register that is read anew each time.
void CheckGraph(const CNodeMap& map) {
    enum : uint8_t { White, Grey, Black };
    const auto& nodes = map.AllNodes();
    std::unordered_map<const CNodeBase*, uint8_t> colour;
    colour.reserve(nodes.size());
    struct Frame {
        CNodeBase* node;
        size_t next;
    };
    std::vector<Frame> stack;
    std::unordered_map<const CNodeBase*, size_t> depth;
    depth.reserve(nodes.size());
    for (const auto& start : nodes) {
        if (colour[start.get()] != White) continue;
        stack.push_back({start.get(), 0});
        colour[start.get()] = Grey;
        while (!stack.empty()) {
            Frame& top = stack.back();
            if (top.next == top.node->m_children.size()) {
                CNodeBase* node = top.node;
                size_t below = 0;
                bool readEachTime = node->IsReadEachTime();
                for (CNodeBase* child : node->m_children) {
                    below = std::max(below, depth[child]);
                    readEachTime = readEachTime || child->m_readsDeviceEachTime;
                }
                if (below + 1 > kMaxReadDepth)
                    throw RUNTIME_EXCEPTION("Node '%s': a read of it passes through more than %zu nodes",
                                            node->Name().c_str(), kMaxReadDepth);
                depth[node] = below + 1;
                node->m_readsDeviceEachTime = readEachTime;
                colour[node] = Black;
                stack.pop_back();
                continue;
            }
            CNodeBase* child = top.node->m_children[top.next++];
            const uint8_t c = colour[child];
            if (c == Grey) {
                std::string path;
                auto it = std::find_if(stack.begin(), stack.end(), [&](const Frame& f) { return f.node == child; });
                for (; it != stack.end(); ++it) path += it->node->Name() + " -> ";
                path += child->Name();
                throw RUNTIME_EXCEPTION("Node '%s': reference cycle %s", child->Name().c_str(), path.c_str());
            }
            if (c == White) {
                colour[child] = Grey;
                stack.push_back({child, 0});
            }
        }
    }
}

} // namespace

std::unique_ptr<CNodeMap> LoadNodeMap(const std::string& xml, const std::string& deviceName) {
    try {
        pugi::xml_document doc;
        const pugi::xml_parse_result parsed = doc.load_buffer(xml.data(), xml.size());
        if (!parsed)
            throw RUNTIME_EXCEPTION("The description is not well-formed XML: %s at offset %lld", parsed.description(),
                                    static_cast<long long>(parsed.offset));
        const pugi::xml_node root = doc.document_element();
        if (std::strcmp(root.name(), "RegisterDescription") != 0)
            throw RUNTIME_EXCEPTION("The description's root element is <%s>, not <RegisterDescription>", root.name());

        auto map = std::make_unique<CNodeMap>(deviceName);
        map->m_modelName = root.attribute("ModelName").value();
        map->m_vendorName = root.attribute("VendorName").value();

        std::vector<std::pair<CNodeBase*, pugi::xml_node>> pending;
        CreateNodes(*map, root, pending);
        CLoadContext ctx(*map);
        for (const auto& [node, element] : pending) ctx.LoadNode(*node, element);

        // Whoever reads a node is invalidated with it, besides the pInvalidator and pSelected edges.
        for (const auto& node : map->AllNodes())
            for (CNodeBase* parent : node->m_parents) AddUnique(node->m_dependents, parent);
        CheckGraph(*map);
        return map;
    } catch (const std::bad_alloc& e) {
        throw BAD_ALLOC_EXCEPTION("%s", e.what());
    }
}

} // namespace GenApi
