#include "qx/text/charset/EncodingInfo.h"

#include <algorithm>
#include <utility>
#include <vector>

#include <qx/core/Result.h>
#include <qx/core/Str1HashMap.h>
#include <qx/core/String.h>
#include <qx/platform/text.h>
#include <qx/text/charset/CodecTable.h>
#include <qx/text/charset/detail/EncodingName.h>

namespace qx::text::charset {

namespace {

// Encodings that only codec components provide. clang-format off
constexpr QXEncodingInfo MoreRecords[] = {
    {u"CP1250", 1250, 0}, {u"CP1251", 1251, 0}, {u"CP1253", 1253, 0}, {u"CP1254", 1254, 0},
    {u"CP1255", 1255, 0}, {u"CP1256", 1256, 0}, {u"CP1257", 1257, 0}, {u"CP1258", 1258, 0},
    {u"CP720", 720, 0},   {u"CP737", 737, 0},   {u"CP775", 775, 0},   {u"CP850", 850, 0},
    {u"CP852", 852, 0},   {u"CP855", 855, 0},   {u"CP857", 857, 0},   {u"CP858", 858, 0},
    {u"CP862", 862, 0},   {u"CP866", 866, 0},   {u"CP932", 932, 0},   {u"CP936", 936, 0},
    {u"CP949", 949, 0},   {u"CP950", 950, 0},   {u"EUCJP", 20932, 0},
};

constexpr struct {
    const char16_t* name;
    const char16_t* target;
} MoreAliases[] = {
    {u"EUC-JP", u"EUCJP"},        {u"EUC_JP", u"EUCJP"},        {u"WINDOWS-31J", u"CP932"},
    {u"MS932", u"CP932"},         {u"GB2312", u"CP936"},        {u"KS_C_5601-1987", u"CP949"},
    {u"BIG5", u"CP950"},          {u"WINDOWS-1250", u"CP1250"}, {u"WINDOWS-1251", u"CP1251"},
    {u"WINDOWS-1253", u"CP1253"}, {u"WINDOWS-1254", u"CP1254"}, {u"WINDOWS-1255", u"CP1255"},
    {u"WINDOWS-1256", u"CP1256"}, {u"WINDOWS-1257", u"CP1257"}, {u"WINDOWS-1258", u"CP1258"},
};
// clang-format on

String decimal(uint32_t codePage) {
    char16_t digits[66];
    return String(QXLToStrW(codePage, digits, 10));
}

class EncodingInfoTable {
public:
    EncodingInfoTable() {
        for (const CodecRow& row : codecTable()) {
            if (!row.canonicalName && row.codePage != 0)
                m_records.push_back({row.name, row.codePage, 0});
        }
        m_records.insert(m_records.end(), std::begin(MoreRecords), std::end(MoreRecords));
        for (const QXEncodingInfo& record : m_records) {
            m_byKey.put(detail::upperCaseName(record.name), &record);
            m_byKey.put(decimal(record.codePage), &record);
        }
        for (const CodecRow& row : codecTable()) {
            if (row.canonicalName)
                addAlias(detail::upperCaseName(row.name), detail::upperCaseName(row.canonicalName));
        }
        for (const auto& alias : MoreAliases)
            addAlias(String(alias.name), String(alias.target));
    }

    const std::vector<QXEncodingInfo>& records() const { return m_records; }

    /// The record under a name in upper case or a code page in decimal, or null.
    const QXEncodingInfo* find(const String& key) const {
        const QXEncodingInfo* record = nullptr;
        m_byKey.get(key, &record);
        return record;
    }

private:
    void addAlias(const String& name, const String& target) {
        if (const QXEncodingInfo* const record = find(target))
            m_byKey.put(name, record);
    }

    std::vector<QXEncodingInfo> m_records;
    Str1HashMap<const QXEncodingInfo*> m_byKey{101, 0.75f};
};

constinit const EncodingInfoTable* s_table = nullptr;

int32_t copyRecord(const String& key, QXEncodingInfo* record) {
    const QXEncodingInfo* const found = s_table ? s_table->find(key) : nullptr;
    if (!found)
        return result::Fail;
    *record = *found;
    return result::Ok;
}

} // namespace

void buildEncodingInfo() {
    releaseEncodingInfo();
    s_table = new EncodingInfoTable();
}

void releaseEncodingInfo() noexcept { delete std::exchange(s_table, nullptr); }

} // namespace qx::text::charset

using namespace qx;
using namespace qx::text::charset;

int32_t QXEnumerateEncInfo(uint32_t* count, QXEncodingInfo* records) {
    if (!count || (*count != 0 && !records))
        return result::InvalidArgument;
    const uint32_t room = *count;
    *count = s_table ? static_cast<uint32_t>(s_table->records().size()) : 0;
    if (room < *count)
        return result::BufferTooSmall;
    if (*count != 0)
        std::copy_n(s_table->records().begin(), *count, records);
    return result::Ok;
}

int32_t QXGetEncInfoByCodePage(uint32_t codePage, QXEncodingInfo* record) {
    if (!record)
        return result::InvalidArgument;
    return resultOf([&] { return copyRecord(decimal(codePage), record); });
}

int32_t QXGetEncInfoByName(const char16_t* name, QXEncodingInfo* record) {
    if (!name || !record)
        return result::InvalidArgument;
    return resultOf([&] { return copyRecord(text::charset::detail::upperCaseName(name), record); });
}
