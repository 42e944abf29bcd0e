#pragma once

#include <iterator>

#include <qx/core/String.h>
#include <qx/core/TextView.h>

namespace qx::detail {

/// A text with a 0 unit behind it, which views and strings over foreign memory lack.
class Terminated {
public:
    explicit Terminated(TextView text) {
        if (text.size() < std::size(m_units)) {
            m_units[text.copy(m_units, text.size())] = u'\0';
        } else {
            m_long = String(text);
            m_data = m_long.getData();
        }
    }
    Terminated(const Terminated&) = delete;
    Terminated& operator=(const Terminated&) = delete;

    const char16_t* get() const noexcept { return m_data; }

private:
    char16_t m_units[64];
    String m_long;
    const char16_t* m_data = m_units;
};

} // namespace qx::detail
