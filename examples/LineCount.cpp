// Counts lines, words and UTF-16 units of text files in any encoding: LineCount ENCODING FILE...

#include <cstdint>
#include <exception>
#include <iostream>

#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/io/BufferedReader.h>
#include <qx/io/FileInputStream.h>
#include <qx/io/InputStreamReader.h>

namespace {

struct Counts {
    int64_t lines = 0;
    int64_t words = 0;
    int64_t units = 0;
};

Counts count(const qx::String& file, const qx::String& encoding) {
    auto bytes = qx::makeReference<qx::io::FileInputStream>(file);
    auto text = qx::makeReference<qx::io::InputStreamReader>(bytes, encoding.getData());
    auto reader = qx::makeReference<qx::io::BufferedReader>(text);

    const qx::String blanks(u" \t");
    Counts counts;
    qx::String line;
    while (reader->readLine(line) >= 0) {
        ++counts.lines;
        counts.units += line.getLength();
        for (int32_t end = 0, start; (start = line.findFirstNotOf(blanks, end)) >= 0;) {
            ++counts.words;
            end = line.findFirstOf(blanks, start);
            if (end < 0)
                break;
        }
    }
    return counts;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::cerr << "usage: LineCount ENCODING FILE...\n";
        return 2;
    }
    for (int i = 2; i < argc; ++i) {
        try {
            const Counts counts = count(qx::String(argv[i]), qx::String(argv[1]));
            std::cout << counts.lines << ' ' << counts.words << ' ' << counts.units << ' '
                      << argv[i] << '\n';
        } catch (const std::exception& exception) {
            std::cerr << argv[i] << ": " << exception.what() << '\n';
            return 1;
        }
    }
    return std::cout.flush() ? 0 : 1;
}
