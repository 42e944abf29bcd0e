#pragma once

#include <typeinfo>

#include <qx/core/Object.h>

namespace qx {

class ClassManagerBase;

/// Runtime description of one class: its registered name, its type and a way to make an instance.
/// Classes are owned by the library and live until it shuts down; they may be read from any thread.
class QX_API Class : public Object {
public:
    using Creator = Object* (*)();

    /// The registered name.
    virtual const char16_t* getName() const;
    /// True when the dynamic type of @p object is exactly this class, not one derived from it.
    virtual bool isInstance(const Object& object) const;
    /// A new default-constructed instance with count 0.
    /// @throws IllegalAccessException for a class that cannot be made by name
    [[nodiscard]] virtual Object* createInstance() const;

    /// The class registered under exactly @p name.
    /// @throws ClassNotFoundException with the name
    static const Class* forName(const char16_t* name);
    /// The class registered for @p type.
    /// @throws ClassNotFoundException with the readable name of the type
    static const Class* forType(const std::type_info* type);

private:
    friend class ClassManagerBase;
    Class(const char16_t* name, const std::type_info* type, Creator creator)
        : m_name(name), m_type(type), m_creator(creator) {}

    const char16_t* m_name;
    const std::type_info* m_type;
    Creator m_creator;
};

} // namespace qx
