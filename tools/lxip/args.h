// Command-line parsing of lxip: positionals and --options, checked against what each command takes.
#pragma once

#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace lxtool {

// A mistake in the command line: printed with the command's name, exits with status 2.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct OptionSpec {
    const char* name;   // without the dashes
    bool takesValue;
    bool repeatable = false;
};

struct Args {
    std::vector<std::string> positionals;
    std::map<std::string, std::vector<std::string>> options;
    bool help = false;

    bool Has(const std::string& name) const { return options.count(name) != 0; }
    // The last value given for `name`, or `fallback`.
    std::string Value(const std::string& name, const std::string& fallback = "") const;
};

// Parses argv[first..] for a command taking `specs`; "--name value" and "--name=value" both work.
Args Parse(int argc, char** argv, int first, const std::vector<OptionSpec>& specs);

// Checked conversions of option values; `what` names the option in the message.
double ToDouble(const std::string& text, const std::string& what, double min, double max);
long long ToInteger(const std::string& text, const std::string& what, long long min, long long max);

std::string Lower(std::string text);

} // namespace lxtool
