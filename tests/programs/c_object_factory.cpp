#include <qx/core/Object.h>

namespace {

class Hashed : public qx::Object {
public:
    explicit Hashed(uint32_t hash) : m_hash(hash) { ++s_alive; }
    ~Hashed() override { --s_alive; }
    uint32_t hashCode() const override { return m_hash; }

    static inline int s_alive = 0;

private:
    uint32_t m_hash;
};

} // namespace

extern "C" IQXUnknown* createUnknown(uint32_t hash) {
    auto* const object = new Hashed(hash);
    object->AddRef();
    return object->GetUnknown();
}

extern "C" int livingObjects() { return Hashed::s_alive; }
