#pragma once

#include <concepts>

#include <qx/core/AnyText.h>
#include <qx/core/String.h>
#include <qx/core/TextView.h>
#include <qx/io/FilterWriter.h>
#include <qx/platform/export.h>

namespace qx::io {

/// Writes values as text: numbers as String::valueOf gives them, bytes decoded in the default
/// encoding. Lines end with LF. Failures of the wrapped writer pass through.
class QX_API PrintWriter : public FilterWriter {
public:
    /// @param autoFlush  true to flush behind every println
    explicit PrintWriter(Writer* out, bool autoFlush = false)
        : FilterWriter(out), m_autoFlush(autoFlush) {}

    virtual void print(const String& text);
    /// Decodes the default encoding, unlike the other texts of bytes below, which are UTF-8.
    virtual void print(const char* text);
    virtual void print(const char16_t* text);
    virtual void print(double value);
    virtual void print(float value);
    virtual void print(long value);
    virtual void print(int value);
    virtual void print(char16_t unit);
    virtual void print(bool value);

    /// print, then the line end.
    virtual void println(const String& text);
    virtual void println(const char* text);
    virtual void println(const char16_t* text);
    virtual void println(double value);
    virtual void println(float value);
    virtual void println(long value);
    virtual void println(int value);
    virtual void println(char16_t unit);
    virtual void println(bool value);
    virtual void println();

    virtual void print(unsigned int value);
    virtual void print(unsigned long value);
    virtual void print(long long value);
    virtual void print(unsigned long long value);
    virtual void println(unsigned int value);
    virtual void println(unsigned long value);
    virtual void println(long long value);
    virtual void println(unsigned long long value);

    void print(char32_t codePoint) { print(String(codePoint)); }
    void println(char32_t codePoint) { println(String(codePoint)); }
    /// Other texts: views, and UTF-8 but for const char*.
    /// @throws text::charset::InvalidCharacterException for malformed UTF-8
    template <OtherText T>
    requires(!std::convertible_to<const T&, const char*>) void print(const T& text) {
        printText(AnyText(text));
    }
    template <OtherText T>
    requires(!std::convertible_to<const T&, const char*>) void println(const T& text) {
        print(text);
        newLine();
    }

    /// Refuses units of other encodings, which would be printed as numbers.
    void print(ForeignUnit auto unit) = delete;
    void println(ForeignUnit auto unit) = delete;
    /// Refuses other pointers, which would be printed as the truth that they are not null.
    template <class T>
    requires(!SomeText<T*>) void print(T* pointer) = delete;
    template <class T>
    requires(!SomeText<T*>) void println(T* pointer) = delete;

protected:
    void newLine();

private:
    void printText(TextView text);
    template <class Value>
    void printLine(Value value);

    bool m_autoFlush;
};

} // namespace qx::io

using CQXPrintWriter = qx::io::PrintWriter;
