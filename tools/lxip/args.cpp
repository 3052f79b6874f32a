#include "args.h"

#include <cctype>
#include <cerrno>
#include <cstdlib>

namespace lxtool {

std::string Args::Value(const std::string& name, const std::string& fallback) const {
    auto it = options.find(name);
    return it == options.end() || it->second.empty() ? fallback : it->second.back();
}

Args Parse(int argc, char** argv, int first, const std::vector<OptionSpec>& specs) {
    Args args;
    for (int i = first; i < argc; ++i) {
        std::string word = argv[i];
        if (word == "--help" || word == "-h") {
            args.help = true;
            continue;
        }
        if (word.size() < 3 || word.compare(0, 2, "--") != 0) {
            if (!word.empty() && word[0] == '-' && word.size() > 1) throw UsageError("unknown option " + word);
            args.positionals.push_back(word);
            continue;
        }
        std::string name = word.substr(2), value;
        bool inlineValue = false;
        if (auto eq = name.find('='); eq != std::string::npos) {
            value = name.substr(eq + 1);
            name.resize(eq);
            inlineValue = true;
        }
        const OptionSpec* spec = nullptr;
        for (const OptionSpec& s : specs)
            if (name == s.name) spec = &s;
        if (!spec) throw UsageError("unknown option --" + name);
        if (spec->takesValue && !inlineValue) {
            if (i + 1 >= argc) throw UsageError("option --" + name + " needs a value");
            value = argv[++i];
        } else if (!spec->takesValue && inlineValue) {
            throw UsageError("option --" + name + " takes no value");
        }
        auto& values = args.options[name];
        if (!values.empty() && !spec->repeatable) throw UsageError("option --" + name + " given twice");
        values.push_back(value);
    }
    return args;
}

double ToDouble(const std::string& text, const std::string& what, double min, double max) {
    char* end = nullptr;
    errno = 0;
    const double v = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || errno != 0 || !(v >= min && v <= max))
        throw UsageError("bad value '" + text + "' for " + what + ": expected a number from " +
                         std::to_string(min) + " to " + std::to_string(max));
    return v;
}

long long ToInteger(const std::string& text, const std::string& what, long long min, long long max) {
    char* end = nullptr;
    errno = 0;
    const long long v = std::strtoll(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || errno != 0 || v < min || v > max)
        throw UsageError("bad value '" + text + "' for " + what + ": expected an integer from " +
                         std::to_string(min) + " to " + std::to_string(max));
    return v;
}

std::string Lower(std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

} // namespace lxtool
