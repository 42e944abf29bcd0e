#include "qx/core/Exception.h"

#include <qx/core/ExternalException.h>
#include <qx/core/Result.h>

namespace qx {

String Exception::getDescription() const { return m_description; }

int32_t Exception::getResult() const { return result::Fail; }

int32_t ResultException::getResult() const { return m_result; }

int32_t OutOfMemoryException::getResult() const { return result::OutOfMemory; }

const char* OutOfMemoryException::what() const noexcept { return "bad allocation"; }

ExternalException::ExternalException() = default;

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
