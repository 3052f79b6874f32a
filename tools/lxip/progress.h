// Progress of a long step: a bar redrawn in place on a terminal, a few plain lines otherwise.
#pragma once

#include <cstddef>
#include <string>

namespace lxtool {

class Progress {
public:
    Progress(std::string label, size_t total);
    ~Progress();
    void Step(size_t done);

private:
    std::string m_label;
    size_t m_total;
    bool m_terminal;
    int m_lastQuarter = -1;
};

} // namespace lxtool
