// lxip features: a module's feature tree, after any --set written through its node map.
#include "args.h"
#include "commands.h"
#include "library.h"

#include <GenApi/GenApi.h>

#include <cstdio>

namespace lxtool {

int RunFeatures(int argc, char** argv) {
    const Args args = Parse(argc, argv, 1, {{"set", true, true}});
    if (args.help) {
        std::fputs(Commands[3].usage, stdout);
        return 0;
    }
    if (args.positionals.size() != 1) throw UsageError("expected one MODULE");
    const ModuleName* module = nullptr;
    for (const ModuleName& m : ModuleNames())
        if (Lower(args.positionals[0]) == m.name) module = &m;
    if (!module) throw UsageError("unknown module '" + args.positionals[0] + "' (lxip features --help lists them)");
    std::vector<std::pair<std::string, std::string>> sets;
    if (args.Has("set"))
        for (const std::string& s : args.options.at("set")) {
            const auto eq = s.find('=');
            if (eq == std::string::npos || eq == 0) throw UsageError("bad value '" + s + "' for --set: expected Name=Value");
            sets.emplace_back(s.substr(0, eq), s.substr(eq + 1));
        }

    Sdk sdk;
    FilterPtr filter;
    ConverterPtr converter;
    FilerPtr filer;
    GenApi::INodeMap* map = nullptr;
    const std::string kind = module->kind;
    if (kind == "filter") {
        filter.Reset(CreateILxFilter(static_cast<ELxFilterType_t>(module->type)));
        map = filter->GetINodeMap();
    } else if (kind == "converter") {
        converter.Reset(CreateILxConverter(static_cast<ELxConverterType_t>(module->type)));
        map = converter->GetINodeMap();
    } else {
        filer.Reset(CreateILxFiler(static_cast<ELxFilerType_t>(module->type)));
        map = filer->GetINodeMap();
    }
    for (const auto& [name, value] : sets) {
        GenApi::CValuePtr node = map->GetNode(name.c_str());
        if (!node.IsValid()) throw UsageError("bad value for --set: module " + std::string(module->name) +
                                              " has no feature '" + name + "'");
        node->FromString(value.c_str());
    }
    PrintTree(map->GetNode("Root"), 0);
    return 0;
}

} // namespace lxtool
