#include "qx/core/Exception.h"

#include <cstdio>
#include <ostream>

#include <qx/core/ExternalException.h>
#include <qx/core/Result.h>
#include <qx/core/detail/ClassName.h>

namespace qx {

String Exception::getDescription() const { return m_description; }

int32_t Exception::getResult() const { return result::Fail; }

int32_t ResultException::getResult() const { return m_result; }

int32_t OutOfMemoryException::getResult() const { return result::OutOfMemory; }

const char* OutOfMemoryException::what() const noexcept { return "bad allocation"; }

ExternalException::ExternalException() = default;

String describe(const Exception& exception) {
    const int32_t code = exception.getResult();
    String text = exception.getDescription();
    if (code == result::Fail)
        return text.isEmpty() ? String(classNameOf(exception)) : text;
    char digits[16];
    std::snprintf(digits, sizeof digits, " (0x%08X)", static_cast<unsigned int>(code));
    return text.append(text.isEmpty() ? u"" : u": ")
        .append(String::fromUtf8(exception.code().message()))
        .append(String::fromUtf8(digits));
}

std::ostream& operator<<(std::ostream& out, const Exception& exception) {
    return out << describe(exception);
}

void throwResult(int32_t code, const char16_t* description) {
    if (!description)
        throw ResultException(code);
    throw ResultException(code, String(description));
}

int32_t currentExceptionResult() noexcept {
    try {
        throw;
    } catch (const Exception& exception) {
        return exception.getResult();
    } catch (const std::bad_alloc&) {
        return result::OutOfMemory;
    } catch (...) {
        return result::Fail;
    }
}

} // namespace qx
