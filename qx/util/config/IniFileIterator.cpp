#include "qx/util/config/IniFileIterator.h"

namespace qx::util {

namespace {

String nextOf(const std::vector<String>& names, std::size_t& position) {
    if (position == names.size())
        throw IniFileException(IniFileException::NO_MORE_ELEMENTS, String());
    return names[position++];
}

} // namespace

IniFileKeyIterator::IniFileKeyIterator(IniFile& ini, const char16_t* set)
    : IniFileIteratorBase(set), m_names(ini.keysForIteration(set ? set : u"")) {}

String IniFileKeyIterator::next() { return nextOf(m_names, m_position); }

bool IniFileKeyIterator::hasNext() const { return m_position < m_names.size(); }

IniFileSetIterator::IniFileSetIterator(IniFile& ini, const char16_t* set)
    : IniFileIteratorBase(set), m_names(ini.setsForIteration(set ? set : u"")) {}

String IniFileSetIterator::next() { return nextOf(m_names, m_position); }

bool IniFileSetIterator::hasNext() const { return m_position < m_names.size(); }

} // namespace qx::util
