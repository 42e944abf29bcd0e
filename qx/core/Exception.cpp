#include "qx/core/Exception.h"

#include <algorithm>
#include <memory>
#include <ostream>
#include <string>

#include <qx/core/ExternalException.h>
#include <qx/core/Required.h>
#include <qx/core/Result.h>
#include <qx/core/detail/ClassName.h>
#include <qx/core/detail/ErrorText.h>
#include <qx/platform/detail/HexDigits.h>

namespace qx {

namespace {

/// One more thing to say, behind what may be a whole sentence.
void addTo(String& text, const String& more) {
    if (text.endsWith(u"."))
        text.resize(text.getLength() - 1);
    text.append(text.isEmpty() ? u"" : u": ").append(more);
}

} // namespace

String Exception::getDescription() const { return m_description; }

int32_t Exception::getResult() const { return result::Fail; }

void Exception::setDetail(const String& detail) {
    m_detail.setAddRef(kept(detail));
    m_told = Told();
}

String Exception::kept(const String& text) noexcept {
    String own;
    resultOf([&] { own = String(text); }); // copies what is not in a block of its own
    return own;
}

const char* Exception::what() const noexcept {
    if (const char* const known = m_told.text.load(std::memory_order_acquire))
        return known;
    try {
        const std::string text = describe(*this).toUtf8();
        auto copy = std::make_unique<char[]>(text.size() + 1);
        std::ranges::replace_copy(text, copy.get(), '\0', ' '); // it ends at the first one
        char* first = nullptr; // of threads that ask at once one is first
        return m_told.text.compare_exchange_strong(first, copy.get(), std::memory_order_acq_rel)
                   ? copy.release()
                   : first;
    } catch (...) {
        return "qx::Exception, whose description could not be had";
    }
}

int32_t ResultException::getResult() const { return m_result; }

int32_t OutOfMemoryException::getResult() const { return result::OutOfMemory; }

const char* OutOfMemoryException::what() const noexcept { return "bad allocation"; }

ExternalException::ExternalException() = default;

String describe(const Exception& exception) {
    const int32_t code = exception.getResult();
    String text = exception.getDescription();
    if (const String detail = exception.getDetail(); !detail.isEmpty())
        addTo(text, detail);
    if (code == result::Fail)
        return text.isEmpty() ? typeNameOf(exception) : text;
    if (const String message = detail::errorText(code); !text.startsWith(message))
        addTo(text, message);
    char16_t digits[8];
    platform::writeHex<8>(static_cast<unsigned int>(code), digits);
    return text.append(u" (0x").append(TextView(digits, 8)).append(u')');
}

String describe(const std::exception& exception) { return String::fromUtf8(exception.what()); }

std::ostream& operator<<(std::ostream& out, const Exception& exception) {
    return out << describe(exception);
}

void throwResult(int32_t code, const char16_t* description) {
    if (!description)
        throw ResultException(code);
    throw ResultException(code, String(description));
}

void throwResultOf(int32_t code, TextView subject) {
    if (subject.empty())
        throw ResultException(code);
    throw ResultException(code, detail::errorText(code).append(u": ").append(subject));
}

void throwOutOfRange(int64_t index, int64_t size) {
    throw RangeErrorException(u"index " + String::valueOf(index) + u", size " +
                              String::valueOf(size));
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
