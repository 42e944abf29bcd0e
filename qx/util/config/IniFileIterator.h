#pragma once

#include <cstddef>
#include <iterator>
#include <vector>

#include <qx/collections/InputIterator.h>
#include <qx/core/String.h>
#include <qx/platform/export.h>
#include <qx/util/config/IniFile.h>

namespace qx::util {

/// An iterator over the names that an INI file has when the iterator is made. Copies continue
/// independently from the same place. It is an input range of the remaining names:
///
///     for (const String& key : IniFileKeyIterator(ini, u"server"))
class QX_API IniFileIteratorBase {
public:
    virtual ~IniFileIteratorBase() = default;

    /// The name of the set that was passed to the constructor.
    virtual String getSetName() const { return m_setName; }
    /// Returns the current name and moves to the next one.
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

/// Walks over the keys of a set in the order of their lower-case forms.
class QX_API IniFileKeyIterator : public IniFileIteratorBase {
public:
    /// A set that exists only through its subsets has no keys. Null is the empty name.
    /// @throws IniFileException SET_NOT_FOUND with the name; ResultException when the semaphore
    ///     fails
    IniFileKeyIterator(IniFile& ini, const char16_t* set);

    String next() override;
    bool hasNext() const override;

private:
    std::vector<String> m_names;
    std::size_t m_position = 0;
};

/// Walks over the direct children of a set: with the sets "A\x" and "A\y\z" the children of "A" are
/// "x" and "y". The set's name must match in letter case. With the empty set name it walks over the
/// whole names of all sets. Either way each name comes once, in the order of units: "B" before "a".
class QX_API IniFileSetIterator : public IniFileIteratorBase {
public:
    /// A set without children gives an empty walk. Null is the empty name.
    /// @throws ResultException when the semaphore fails
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
