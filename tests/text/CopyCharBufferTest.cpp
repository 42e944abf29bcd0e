#include <gtest/gtest.h>

#include <qx/core/Exception.h>
#include <qx/core/String.h>
#include <qx/util/buffer/CopyCharBuffer.h>
#include <qx/util/buffer/ROBuffer.h>
#include <qx/util/buffer/RWBuffer.h>

#include "tests/support/ExpectResult.h"

namespace {

using namespace qx;

/// Answers as it is told and counts what is held.
class FragileBuffer : public util::RWCharBuffer {
public:
    using RWBuffer::RWBuffer;

    int32_t GetReadLock(const char16_t** data) const override {
        if (m_lockResult != 0)
            return m_lockResult;
        ++m_held;
        if (m_shortenTo >= 0)
            const_cast<FragileBuffer*>(this)->releaseWriteLock(m_shortenTo);
        return RWBuffer::GetReadLock(data);
    }
    int32_t ReleaseReadLock() const override {
        --m_held;
        return m_releaseResult;
    }
    int32_t GetWriteLock(int32_t capacity, char16_t** data) override {
        ++m_held;
        return RWBuffer::GetWriteLock(capacity, data);
    }
    int32_t ReleaseWriteLock(int32_t length) override {
        --m_held;
        RWBuffer::ReleaseWriteLock(length);
        return m_releaseResult;
    }

    int32_t m_lockResult = 0;
    int32_t m_releaseResult = 0;
    int32_t m_shortenTo = -1; // what another thread makes of it just before the read lock
    mutable int m_held = 0;
};

TEST(CopyCharBuffer, ReplacesTheTextByWhatTheLockedSourceHolds) {
    FragileBuffer destination(u"something longer", 16);
    FragileBuffer source(u"whole text", 10);
    source.m_shortenTo = 5;
    destination.m_releaseResult = 7;
    EXPECT_EQ(QXCopyCharBuffer(&destination, &source), 7);
    EXPECT_EQ(String(&destination), u"whole");
    const util::ROCharBuffer empty;
    EXPECT_EQ(QXCopyCharBuffer(&destination, &empty), 7);
    EXPECT_EQ(destination.getLength(), 0);
}

TEST(CopyCharBuffer, LeavesNoLockBehindWhenItFails) {
    FragileBuffer buffers[2][3]; // of which one fails in one way
    for (size_t which = 0; which < 3; ++which) {
        FragileBuffer &source = buffers[0][which], &destination = buffers[1][which];
        (which == 0   ? source.m_lockResult
         : which == 1 ? source.m_releaseResult
                      : destination.m_releaseResult) = result::AccessDenied;
        EXPECT_EQ(qxtest::failureOf([&] { QXCopyCharBuffer(&destination, &source); }),
                  result::AccessDenied);
        EXPECT_EQ(destination.m_held, 0) << which;
        EXPECT_EQ(source.m_held, 0) << which;
    }
    util::ROCharBuffer fixed(u"fixed", 5);
    EXPECT_THROW(QXCopyCharBuffer(&fixed, &buffers[0][2]), ResultException);
}

} // namespace
