#pragma once

#include <cstdint>
#include <span>
#include <stdexcept>

#include <qx/core/Exception.h>

namespace qxtest {

/// How an operation of a collection ends.
enum class Outcome { Done, OutOfRange, NoElement, Changed };

/// What reads operations from bytes and plays them on a collection and on its plain model. Throws
/// std::logic_error when the two come apart.
class Play {
protected:
    static void require(bool condition, const char* what) {
        if (!condition)
            throw std::logic_error(what);
    }

    void start(std::span<const uint8_t> bytes) { m_bytes = bytes; }
    bool isOver() const { return m_bytes.empty(); }
    /// The next byte, 0 at the end.
    int byte() {
        if (m_bytes.empty())
            return 0;
        const int byte = m_bytes.front();
        m_bytes = m_bytes.subspan(1);
        return byte;
    }

    /// Runs @p operation and requires that it ends as the model says.
    template <class Operation>
    static void expect(Outcome expected, const char* what, Operation operation) {
        Outcome outcome = Outcome::Done;
        try {
            operation();
        } catch (const qx::RangeErrorException&) {
            outcome = Outcome::OutOfRange;
        } catch (const qx::IllegalStateException&) {
            outcome = Outcome::NoElement;
        } catch (const qx::Exception&) {
            outcome = Outcome::Changed;
        }
        require(outcome == expected, what);
    }

private:
    std::span<const uint8_t> m_bytes;
};

} // namespace qxtest
