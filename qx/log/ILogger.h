#pragma once

#include <qx/core/Unknown.h>
#include <qx/platform/export.h>

namespace qx {
class String;

namespace log {

/// Takes texts to log at the level that the implementation regards as its default.
class QX_INTERFACE ILogger : public IQXUnknown {
public:
    virtual void log(const String& text) = 0;

protected:
    ~ILogger() = default;
};

} // namespace log
} // namespace qx
