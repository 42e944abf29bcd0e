#pragma once

#include <qx/core/Unknown.h>
#include <qx/platform/export.h>

namespace qx {
class String;

namespace log {

/// Takes texts to log with a level. What the numbers mean is up to those who use them.
class QX_INTERFACE ILevelLogger : public IQXUnknown {
public:
    virtual void log(int level, const String& text) = 0;

protected:
    ~ILevelLogger() = default;
};

} // namespace log
} // namespace qx
