#include "qx/log/detail/OwnTarget.h"

#include <typeinfo>

#include <qx/core/CastTo.h>
#include <qx/core/ObjectBehind.h>
#include <qx/log/AsyncProcessor.h>
#include <qx/log/BasicLogWriter.h>
#include <qx/log/LevelFilter.h>
#include <qx/log/LineLogWriter.h>
#include <qx/log/MultiProcessor.h>
#include <qx/log/XmlLogWriter.h>

namespace qx::log::detail {

namespace {

template <class Class>
Class* behind(ILogProcessor* processor) {
    auto* const object = qx::pcom::objectBehind<Class>(processor);
    return object && static_cast<ILogProcessor*>(object) == processor ? object : nullptr;
}

bool isOwn(const AbstractLogWriter& writer) {
    const std::type_info* const type = qx::detail::typeOf(&writer);
    return type && (*type == typeid(BasicLogWriter) || *type == typeid(XmlLogWriter) ||
                    *type == typeid(LineLogWriter));
}

} // namespace

OwnTarget::OwnTarget(ILogProcessor* processor) {
    const auto set = [this](Kind kind, auto* object) {
        m_kind = kind;
        m_object = object;
    };
    // Those without a public constructor are what they seem.
    if (auto* const writer = behind<AbstractLogWriter>(processor)) {
        if (isOwn(*writer))
            set(Kind::Writer, writer);
    } else if (auto* const queue = behind<AsyncProcessor>(processor)) {
        set(Kind::Queue, queue);
    } else if (auto* const filter = behind<LevelFilter>(processor)) {
        set(Kind::Filter, filter);
    } else if (auto* const fanOut = behind<MultiProcessor>(processor)) {
        set(Kind::FanOut, fanOut);
    }
}

bool OwnTarget::takesRecords(int depth) const noexcept {
    switch (m_kind) {
    case Kind::None:
        break;
    case Kind::Writer:
        return static_cast<AbstractLogWriter*>(m_object)->takesRecords();
    case Kind::Queue:
        return true;
    case Kind::Filter:
        return static_cast<LevelFilter*>(m_object)->takesRecords(depth);
    case Kind::FanOut:
        return depth > 0 && static_cast<MultiProcessor*>(m_object)->takesRecords(depth - 1);
    }
    return false;
}

bool OwnTarget::tryProcess(const Record& record) const {
    switch (m_kind) {
    case Kind::None:
        break;
    case Kind::Writer:
        return static_cast<AbstractLogWriter*>(m_object)->tryProcess(record);
    case Kind::Queue:
        return static_cast<AsyncProcessor*>(m_object)->tryProcess(record);
    case Kind::Filter:
        return static_cast<LevelFilter*>(m_object)->tryProcess(record);
    case Kind::FanOut:
        return static_cast<MultiProcessor*>(m_object)->tryProcessKept(record) != 0;
    }
    return false;
}

} // namespace qx::log::detail
