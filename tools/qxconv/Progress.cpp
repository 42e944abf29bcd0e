#include "Progress.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <limits>

#include <qx/platform/files.h>

namespace {

constexpr int64_t MiB = 1 << 20;
/// Shorter input is done before anybody looks.
constexpr int64_t Threshold = 64 * MiB;
constexpr int64_t Step = 8 * MiB;

} // namespace

Progress::Progress()
    : m_isTerminal(QXFileIsTerminal(QXFileStandardError()) == 1),
      m_next(m_isTerminal ? Step : std::numeric_limits<int64_t>::max()) {}

Progress::~Progress() {
    if (m_isShown)
        std::fputs("\r\033[K", stderr);
}

void Progress::show() {
    // Whole steps, whatever the sizes of the reads: the line does not depend on how input arrives.
    m_next = (m_done / Step + 1) * Step;
    if (std::max(m_expected, m_done) < Threshold)
        return;
    if (m_done <= m_expected)
        std::fprintf(stderr, "\rqxconv: %" PRId64 " of %" PRId64 " MiB (%" PRId64 " %%)\033[K",
                     m_done / MiB, m_expected / MiB, 100 * m_done / m_expected);
    else
        std::fprintf(stderr, "\rqxconv: %" PRId64 " MiB\033[K", m_done / MiB);
    std::fflush(stderr);
    m_isShown = true;
}
