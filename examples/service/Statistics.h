#pragma once

#include <cstddef>
#include <map>
#include <string>

#include <qx/core/String.h>
#include <qx/math/BigInteger.h>
#include <qx/sync/Mutex.h>

namespace collector {

/// How much has been stored, by source and in all. The numbers have no limit, and mean and variance
/// come from exact sums: they are right to the last digit however long the service runs.
///
/// Any thread may call the members.
class Statistics {
public:
    /// A line of @p source with @p bytes bytes of text has been stored. Sources beyond a thousand
    /// count as one, so that a client cannot fill the memory with names.
    void countStored(const qx::String& source, size_t bytes);
    void countRefused();

    qx::String storedLines() const;
    /// A line "STAT ..." for every source and one for all of them, "*".
    std::string report() const;

private:
    /// Of the lengths of texts.
    struct Sums {
        qx::math::BigInteger lines;
        qx::math::BigInteger bytes;
        qx::math::BigInteger squares;

        void add(size_t length);
        std::string report() const;
    };

    mutable qx::sync::Mutex m_lock;
    std::map<qx::String, Sums> m_sources;
    Sums m_all;
    qx::math::BigInteger m_refused;
};

} // namespace collector
