#include <qx/util/PathNormalizer.h>

#include "tests/support/ExpectResult.h"

using qx::String;
using qx::util::PathNormalizer;

namespace {

/// The rules over whole segments: what a segment does depends on where the path stands.
class SegmentModel {
public:
    explicit SegmentModel(char16_t separator) : m_separator(separator) {}

    std::u16string normalize(std::u16string_view path) {
        std::size_t begin = 0;
        for (std::size_t i = 0; i < path.size(); ++i)
            if (path[i] == u'/' || path[i] == u'\\') {
                closed(path.substr(begin, i - begin));
                begin = i + 1;
            }
        if (path == u".")
            return u".";
        last(path.substr(begin));
        return m_text;
    }

private:
    enum Place { Start, BehindDot, BehindDotDot, Inside };

    /// A segment with a separator behind it.
    void closed(std::u16string_view segment) {
        if (m_place == Inside)
            closedInside(segment);
        else if (segment.empty())
            m_place = m_place == Start ? Inside : m_place;
        else if (segment == u".")
            m_place = BehindDot;
        else if (segment == u"..") {
            m_text += u"..";
            m_text += m_separator;
            m_place = BehindDotDot;
        } else {
            m_text += segment;
            m_place = Inside;
        }
    }

    void closedInside(std::u16string_view segment) {
        if (segment == u"..") {
            const std::size_t cut = m_text.find_last_of(m_separator);
            m_text.resize(cut == m_text.npos ? 0 : cut);
            m_place = m_text.empty() ? Start : Inside;
        } else if (!segment.empty() && segment != u".") {
            m_text += m_separator;
            m_text += segment;
        }
    }

    /// What stands behind the last separator.
    void last(std::u16string_view segment) {
        const bool nameless = segment.empty() || segment == u".";
        if (m_place == Inside && segment == u"..")
            m_text.resize(m_text.find_last_of(m_separator) + 1); // npos + 1 is 0
        else if (m_place == Inside)
            m_text.append(1, m_separator).append(nameless ? u"" : segment);
        else if (!nameless)
            m_text += segment;
        else if (segment.empty() ? m_place == BehindDot : m_text.empty())
            m_text += u"./";
    }

    char16_t m_separator;
    Place m_place = Start;
    std::u16string m_text;
};

} // namespace

TEST(PathNormalizer, AgreesWithSegmentModelOnEveryShortPath) {
    constexpr std::u16string_view Alphabet = u"./\\a";
    constexpr std::size_t Longest = 9;
    std::u16string path;
    PathNormalizer forward(PathNormalizer::SLASH_FORWARD);
    for (std::size_t length = 0; length <= Longest; ++length) {
        path.resize(length);
        for (std::size_t number = 0; number < std::size_t{1} << (2 * length); ++number) {
            for (std::size_t i = 0; i < length; ++i)
                path[i] = Alphabet[(number >> (2 * i)) & 3];
            const std::u16string expected = SegmentModel(u'/').normalize(path);
            ASSERT_EQ(forward.normalize(String(path)), expected) << testing::PrintToString(path);
            ASSERT_LE(expected.size(), length);
        }
    }
}

TEST(PathNormalizer, WritesOneKindOfSlash) {
    EXPECT_EQ(PathNormalizer(PathNormalizer::SLASH_BACKWARD).normalize(u"a/b\\../..c/./"),
              u"a\\..c\\");
    PathNormalizer normalizer(PathNormalizer::SLASH_DEFAULT);
    EXPECT_EQ(normalizer.normalize(u"../../x"), u"..\\..\\x");
    normalizer.setSlashType(PathNormalizer::SLASH_FORWARD);
    EXPECT_EQ(normalizer.normalize(u"a\\b"), u"a/b");
    using namespace std::string_view_literals;
    EXPECT_EQ(normalizer.normalize(String(u"a/.\0/b"sv)), u"a/") << "ends at its first zero unit";
    normalizer.setSlashType(PathNormalizer::SLASH_BACKWARD);
    EXPECT_EQ(normalizer.normalize(u"a/b"), u"a\\b");
    constexpr auto Unknown = static_cast<PathNormalizer::SLASH_TYPE>(3);
    EXPECT_EQ(qxtest::descriptionOf([&] { normalizer.setSlashType(Unknown); }),
              "Invalid slash type specified.");
    EXPECT_THROW(PathNormalizer{Unknown}, qx::Exception);
    EXPECT_EQ(normalizer.normalize(u"a/b"), u"a\\b");
}

TEST(PathNormalizer, TakesPathsOfAnyLength) {
    std::u16string path, expected;
    for (int i = 0; i < 100'000; ++i) {
        path += u"name/./other/../";
        expected += u"name\\";
    }
    EXPECT_TRUE(PathNormalizer(PathNormalizer::SLASH_BACKWARD).normalize(String(path)) == expected);
}
