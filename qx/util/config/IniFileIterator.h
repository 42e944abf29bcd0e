#pragma once

#include <cstddef>
#include <iterator>
#include <vector>

#include <qx/collections/InputIterator.h>
#include <qx/core/String.h>
#include <qx/platform/export.h>
#include <qx/util/config/IniFile.h>

namespace qx::util {

/// A walk over names in an INI file, which are those of the moment when it was made. Copies go on
/// from the same place, each by itself. An input range of the names that are left:
///
///     for (const String& key : IniFileKeyIterator(ini, u"server"))
class QX_API IniFileIteratorBase {
public:
    virtual ~IniFileIteratorBase() = default;

    /// The set that the iterator was made with.
    virtual String getSetName() const { return m_setName; }
    /// The present name; moves to the one behind it.
    /// @throws IniFileException NO_MORE_ELEMENTS at the end
    virtual String next() = 0;
    virtual bool hasNext() const = 0;

    collections::InputIterator<IniFileIteratorBase, IniFileIteratorBase*> begin() {
        return collections::InputIterator<IniFileIteratorBase, IniFileIteratorBase*>(this);
    }
    std::default_sentinel_t end() const noexcept { return {}; }

protected:
    explicit IniFileIteratorBase(const char16_t* set) : m_setName(set) {}
    IniFileIteratorBase(const IniFileIteratorBase&) = default;
    IniFileIteratorBase& operator=(const IniFileIteratorBase&) = default;

private:
    String m_setName;
};

/// Walks the keys of a set in their order without regard to letter case.
class QX_API IniFileKeyIterator : public IniFileIteratorBase {
public:
    /// A set that is there through its subsets alone has no keys. Null is the empty name.
    /// @throws IniFileException SET_NOT_FOUND with the name; ResultException of the semaphore
    IniFileKeyIterator(IniFile& ini, const char16_t* set);

    String next() override;
    bool hasNext() const override;

private:
    std::vector<String> m_names;
    std::size_t m_position = 0;
};

/// Walks the direct children of a set: of "A" over "A\x" and "A\y\z" those are "x" and "y". Letters
/// of the set's name are compared exactly. The empty set name walks all sets by their whole names.
/// Either way each name comes once, in the order of the units: "B" before "a".
class QX_API IniFileSetIterator : public IniFileIteratorBase {
public:
    /// A set without children gives an empty walk. Null is the empty name.
    /// @throws ResultException of the semaphore
    IniFileSetIterator(IniFile& ini, const char16_t* set);

    String next() override;
    bool hasNext() const override;

private:
    std::vector<String> m_names;
    std::size_t m_position = 0;
};

} // namespace qx::util

using CQXIniFileIteratorBase = qx::util::IniFileIteratorBase;
using CQXIniFileKeyIterator = qx::util::IniFileKeyIterator;
using CQXIniFileSetIterator = qx::util::IniFileSetIterator;
