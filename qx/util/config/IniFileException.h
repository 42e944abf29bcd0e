#pragma once

#include <qx/core/Exception.h>

namespace qx::util {

/// The failure of an operation on an INI file or of an iterator over one.
class QX_API IniFileException : public Exception {
public:
    enum TYPE {
        FILE_NOT_READ = 0,    ///< the description is the file name
        NO_MORE_ELEMENTS = 1, ///< the description is empty
        SET_NOT_FOUND = 2,    ///< the description is the set name
        /// A value that is there is not what it was asked for as. The description names the file,
        /// set, key and value, and what it should be.
        VALUE_NOT_UNDERSTOOD = 3,
    };

    IniFileException(TYPE type, const String& description) : Exception(description), m_type(type) {}

    TYPE GetType() const noexcept { return m_type; }

private:
    TYPE m_type;
};

} // namespace qx::util

using CQXIniFileException = qx::util::IniFileException;
