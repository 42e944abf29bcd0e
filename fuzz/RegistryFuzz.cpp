// Files of the registry: whatever they hold, what can be read is the tree that a second reader
// finds too, and a change is either refused and leaves the file alone or is there afterwards.
//
// The first byte says what the rest is: bytes of a file, or records, which then get the checksums
// that random bytes never have.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <span>
#include <string>
#include <vector>

#include <qx/platform/registry.h>
#include <qx/platform/result.h>

#include "fuzz/ScratchFolder.h"

// To make the checksums.
#include "qx/platform/detail/RegistryLog.h"

using namespace qx::platform::registry;

namespace {

void require(bool condition) {
    if (!condition)
        std::abort();
}

std::string contentOf(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

/// All keys and values below a path.
std::u16string dumpOf(const std::u16string& path) {
    std::u16string dump = path + u'\n';
    std::u16string name(LongestText + 1, u'\0');
    QXHandle walk;
    int32_t length;
    const auto fits = [&] { return length = static_cast<int32_t>(name.size()); };
    require(QXRegistryOpenValueEnum(QX_HKEY_USER, path.c_str(), &walk) >= 0);
    while (fits(), QXRegistryEnumNextValue(walk, name.data(), &length) >= 0) {
        std::vector<char> data(1 << 16);
        auto bytes = static_cast<int32_t>(data.size());
        ENUM_QX_REG_TYPE type;
        require(QXRegistryGetValue(QX_HKEY_USER, path.c_str(), name.c_str(), &type, data.data(),
                                   &bytes) >= 0);
        dump.append(name, 0, static_cast<size_t>(length));
        dump += {u'=', static_cast<char16_t>(type), u'\n'};
        dump.append(data.begin(), data.begin() + bytes);
    }
    QXRegistryCloseEnum(walk);
    require(QXRegistryOpenKeyEnum(QX_HKEY_USER, path.c_str(), &walk) >= 0);
    while (fits(), QXRegistryEnumNextKey(walk, name.data(), &length) >= 0)
        dump += dumpOf(path + u'\\' + name.substr(0, static_cast<size_t>(length)));
    QXRegistryCloseEnum(walk);
    return dump;
}

/// A file of transactions: each byte chooses a kind of record, whose text and data come behind it.
std::vector<uint8_t> fileOf(std::span<const uint8_t> input) {
    const Landmark header = makeHeader(1);
    std::vector<uint8_t> file(header.begin(), header.end());
    LogPlace place;
    require(readHeader(header, place) == HeaderState::Valid);
    while (!input.empty()) {
        TransactionWriter writer(place);
        bool isEnded = false;
        while (!isEnded && input.size() >= 2) {
            const uint8_t choice = input[0], length = input[1];
            input = input.subspan(2);
            const auto take = [&](size_t count) {
                const auto taken = input.first(std::min(count, input.size()));
                input = input.subspan(taken.size());
                return taken;
            };
            std::u16string text;
            for (const uint8_t unit : take(length % 16))
                text += static_cast<char16_t>(unit < 4 ? u'\\' : unit);
            const auto data = take(length / 16);
            writer.add({static_cast<RecordKind>(choice % 8), static_cast<uint8_t>(choice / 8 % 5),
                        text, data});
            isEnded = choice >= 200;
        }
        if (!isEnded && !input.empty())
            break;
        std::vector<uint8_t> bytes = writer.commit();
        file.insert(file.end(), bytes.begin(), bytes.end());
        std::vector<Record> records;
        TransactionReader reader(bytes, place);
        if (reader.next(records) == ReadResult::Whole)
            place = reader.place();
    }
    return file;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    static const ScratchFolder folder;
    static const std::string path = folder.path("user.qxreg");
    if (size < 1)
        return 0;
    const std::span<const uint8_t> input(data + 1, size - 1);
    const std::vector<uint8_t> bytes =
        data[0] % 2 ? fileOf(input) : std::vector<uint8_t>(input.begin(), input.end());
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    QXRegistrySetFolder(folder.path().c_str());
    uint64_t version;
    const int32_t read = QXRegistryGetVersion(QX_HKEY_USER, &version);
    if (read >= 0)
        static_cast<void>(dumpOf(u""));
    const std::string content = contentOf(path);

    const int32_t written =
        QXRegistrySetValue(QX_HKEY_USER, u"written\\last", u"name", QX_REG_BYTES, "1", 1);
    require(read >= 0 || (written == read && contentOf(path) == content));
    if (written >= 0) {
        char byte = 0;
        int32_t length = 1;
        require(QXRegistryGetValue(QX_HKEY_USER, u"WRITTEN\\LAST", u"NAME", nullptr, &byte,
                                   &length) >= 0 &&
                byte == '1');
        const std::u16string after = dumpOf(u"");
        QXRegistrySetFolder(folder.path().c_str()); // as another process
        require(dumpOf(u"") == after);
    }
    return 0;
}
