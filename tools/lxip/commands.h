// The commands of lxip. Each parses its own arguments, prints its --help, and returns the exit status.
#pragma once

namespace lxtool {

struct Command {
    const char* name;
    const char* summary;
    const char* usage;   // the --help text
    int (*run)(int argc, char** argv);   // argv[0] is the command's name
};

int RunDemo(int argc, char** argv);
int RunConvert(int argc, char** argv);
int RunInfo(int argc, char** argv);
int RunFeatures(int argc, char** argv);
int RunFormats(int argc, char** argv);
int RunVideo(int argc, char** argv);

extern const Command Commands[6];

} // namespace lxtool
