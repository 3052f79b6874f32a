#include "progress.h"

#include <cstdio>
#include <unistd.h>

namespace lxtool {

Progress::Progress(std::string label, size_t total)
    : m_label(std::move(label)), m_total(total ? total : 1), m_terminal(isatty(STDERR_FILENO) == 1) {}

Progress::~Progress() {
    if (m_terminal) std::fprintf(stderr, "\r%*s\r", 60, "");
}

void Progress::Step(size_t done) {
    if (m_terminal) {
        constexpr int Width = 30;
        const int filled = static_cast<int>(Width * done / m_total);
        std::fprintf(stderr, "\r%-20.20s [%.*s%*s] %3zu%%", m_label.c_str(), filled, "##############################",
                     Width - filled, "", 100 * done / m_total);
        std::fflush(stderr);
        return;
    }
    // Not a terminal: a line at each quarter, so logs stay readable.
    const int quarter = static_cast<int>(4 * done / m_total);
    if (quarter != m_lastQuarter) {
        m_lastQuarter = quarter;
        std::fprintf(stderr, "%s: %zu/%zu\n", m_label.c_str(), done, m_total);
    }
}

} // namespace lxtool
