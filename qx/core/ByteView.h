#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <new>
#include <type_traits>

#include <qx/core/FormatArgument.h>

namespace qx {

namespace detail {

template <class T>
concept ByteType = OneOf < std::remove_cv_t<T>,
char, signed char, unsigned char, char8_t, std::byte > ;

} // namespace detail

/// What holds bytes one behind the other: std::span, std::vector, std::array, std::string, ... of
/// std::byte or a type of 8 bits.
template <class T>
concept SomeBytes = requires(const T& bytes) {
    requires detail::ByteType<std::remove_reference_t<decltype(*std::data(bytes))>>;
    { std::size(bytes) } -> std::convertible_to<size_t>;
};

/// Bytes handed to a call, whatever holds them: what SomeBytes names, and a literal, whose 0 does
/// not count. Does not own the bytes, which must outlive the call.
class ByteView {
public:
    constexpr ByteView() noexcept = default;
    template <class T>
    requires(SomeBytes<T> && !std::is_array_v<T>) ByteView(const T& bytes)
    noexcept
        : m_data(reinterpret_cast<const signed char*>(std::data(bytes))), m_size(std::size(bytes)) {
    }
    /// Any array of a type that no text has, and a narrow literal without its 0.
    template <detail::ByteType Byte, size_t Size>
    ByteView(Byte (&bytes)[Size]) noexcept
        : m_data(reinterpret_cast<const signed char*>(bytes)), m_size(Size) {
        if constexpr (detail::OneOf<Byte, const char, const char8_t>)
            m_size -= bytes[Size - 1] == 0 ? 1 : 0;
        else
            static_assert(!detail::OneOf<Byte, char, char8_t>,
                          "an array of characters that can be written: give the part of it that "
                          "is meant, as a std::span or std::string_view");
    }

    const signed char* data() const noexcept { return m_data; }
    size_t size() const noexcept { return m_size; }
    /// The size as the signed 32 bits of the interface.
    /// @throws std::bad_alloc for more
    int32_t length() const {
        if (m_size > static_cast<size_t>(INT32_MAX))
            throw std::bad_alloc();
        return static_cast<int32_t>(m_size);
    }

private:
    const signed char* m_data = nullptr;
    size_t m_size = 0;
};

} // namespace qx
