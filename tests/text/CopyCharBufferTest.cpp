#include <gtest/gtest.h>

#include <qx/core/Exception.h>
#include <qx/core/String.h>
#include <qx/util/buffer/CopyCharBuffer.h>
#include <qx/util/buffer/ROBuffer.h>
#include <qx/util/buffer/RWBuffer.h>

#include "tests/support/ExpectResult.h"

namespace {

using namespace qx;

/// Fails on demand and counts what is held.
class FragileBuffer : public util::RWCharBuffer {
public:
    using RWBuffer::RWBuffer;

    int32_t GetReadLock(const char16_t** data) const override {
        if (m_failReadLock)
            return result::AccessDenied;
        ++m_held;
        if (m_shortenTo >= 0)
            const_cast<FragileBuffer*>(this)->releaseWriteLock(m_shortenTo);
        return RWBuffer::GetReadLock(data);
    }
    int32_t ReleaseReadLock() const override {
        --m_held;
        return m_failRelease ? result::AccessDenied : RWBuffer::ReleaseReadLock();
    }
    int32_t GetWriteLock(int32_t capacity, char16_t** data) override {
        ++m_held;
        return RWBuffer::GetWriteLock(capacity, data);
    }
    int32_t ReleaseWriteLock(int32_t length) override {
        --m_held;
        const int32_t code = RWBuffer::ReleaseWriteLock(length);
        return m_failRelease ? result::AccessDenied : code + m_releaseResult;
    }

    bool m_failReadLock = false;
    int32_t m_shortenTo = -1; // what another thread makes of it just before the read lock
    bool m_failRelease = false;
    int32_t m_releaseResult = 0;
    mutable int m_held = 0;
};

std::u16string_view text(const util::RWCharBuffer& buffer) {
    return {buffer.getData(), static_cast<size_t>(buffer.getLength())};
}

TEST(CopyCharBuffer, ReplacesTheText) {
    util::RWCharBuffer destination(u"something longer", 16);
    const util::ROCharBuffer source(u"short", 5);
    EXPECT_EQ(QXCopyCharBuffer(&destination, &source), 0);
    EXPECT_EQ(text(destination), u"short");
    const util::ROCharBuffer empty;
    EXPECT_EQ(QXCopyCharBuffer(&destination, &empty), 0);
    EXPECT_EQ(destination.getLength(), 0);
}

TEST(CopyCharBuffer, CopiesNoMoreThanTheLockedSourceHolds) {
    FragileBuffer source(u"whole text", 10);
    source.m_shortenTo = 5;
    util::RWCharBuffer destination;
    EXPECT_EQ(QXCopyCharBuffer(&destination, &source), 0);
    EXPECT_EQ(text(destination), u"whole");
}

TEST(CopyCharBuffer, PassesTheResultOfTheReleaseOn) {
    FragileBuffer destination;
    destination.m_releaseResult = 7;
    const util::ROCharBuffer source(u"a", 1);
    EXPECT_EQ(QXCopyCharBuffer(&destination, &source), 7);
}

TEST(CopyCharBuffer, LeavesNoLockBehindWhenItFails) {
    for (int which = 0; which < 3; ++which) {
        SCOPED_TRACE(which);
        FragileBuffer destination(u"old", 3);
        FragileBuffer source(u"new text", 8);
        source.m_failReadLock = which == 0;
        source.m_failRelease = which == 1;
        destination.m_failRelease = which == 2;
        qxtest::expectThrowsResult(result::AccessDenied,
                                   [&] { QXCopyCharBuffer(&destination, &source); });
        EXPECT_EQ(destination.m_held, 0);
        EXPECT_EQ(source.m_held, 0);
    }
    util::ROCharBuffer fixed(u"fixed", 5);
    const util::ROCharBuffer source(u"new", 3);
    EXPECT_THROW(QXCopyCharBuffer(&fixed, &source), ResultException);
}

} // namespace
