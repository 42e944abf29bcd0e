#include "qx/core/runtime/ClassManager.h"

#include <map>

#include <qx/core/Reference.h>
#include <qx/platform/text.h>

template class qx::util::Singleton<qx::ClassManagerBase, &qx::g_pGlobalLock>;

namespace qx {

namespace {

struct ByName {
    bool operator()(const char16_t* left, const char16_t* right) const {
        return QXStrCmpW(left, right) < 0;
    }
};

struct ByType {
    bool operator()(const std::type_info* left, const std::type_info* right) const {
        return left->before(*right);
    }
};

template <class Map>
const Class* find(const Map& map, typename Map::key_type key) {
    const auto found = map.find(key);
    return found == map.end() ? nullptr : found->second.get();
}

} // namespace

struct ClassManagerBase::Maps {
    std::map<const char16_t*, Reference<Class>, ByName> byName;
    std::map<const std::type_info*, Reference<Class>, ByType> byType;
};

ClassManagerBase::ClassManagerBase() : m_maps(std::make_unique<Maps>()) {}

ClassManagerBase::~ClassManagerBase() = default;

void ClassManagerBase::registerClass(const char16_t* name, const std::type_info* type,
                                     Class::Creator creator) {
    if (lookupName(name))
        return;
    const Reference<Class> entry(new Class(name, type, creator));
    const auto named = m_maps->byName.emplace(name, entry).first;
    try {
        m_maps->byType.emplace(type, entry);
    } catch (...) {
        m_maps->byName.erase(named); // known by both or by neither
        throw;
    }
}

const Class* ClassManagerBase::lookupName(const char16_t* name) const {
    return find(m_maps->byName, name);
}

const Class* ClassManagerBase::lookupType(const std::type_info* type) const {
    return find(m_maps->byType, type);
}

} // namespace qx
