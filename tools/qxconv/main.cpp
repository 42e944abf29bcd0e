// qxconv: converts text files from one encoding to another.

#include <filesystem>
#include <optional>

#include <qx/io/FileInputStream.h>
#include <qx/io/FileOutputStream.h>
#include <qx/platform/files.h>
#include <qx/platform/result.h>

#include "Conversion.h"
#include "EncodingList.h"
#include "Options.h"
#include "OutputFile.h"
#include "Progress.h"
#include "tools/common/Program.h"

namespace fs = std::filesystem;
using qx::io::FileInputStream;
using qx::io::FileOutputStream;

namespace {

constexpr char StandardStream[] = "-";

Source openSource(const std::string& file) {
    if (file == StandardStream)
        return {new FileInputStream(QXFileStandardInput(), false), "standard input"};
    uint64_t handle;
    if (const int32_t result = QXFileOpen(file.c_str(), QX_FILE_READ, 0, &handle); result < 0) {
        if (std::error_code error; fs::is_directory(file, error))
            throw Failure(Failure::Runtime, file + ": is a folder");
        throw fileFailure(file, result);
    }
    return {new FileInputStream(handle, true), file};
}

/// Size of a file in bytes, 0 for what has none.
int64_t sizeOf(const std::string& file) {
    int64_t size = 0;
    if (file == StandardStream)
        return QXFileGetSize(QXFileStandardInput(), &size) < 0 ? 0 : size;
    std::error_code error;
    const uintmax_t bytes = fs::file_size(file, error);
    return error ? 0 : static_cast<int64_t>(bytes);
}

constexpr char StandardOutput[] = "standard output";

/// Converts the files to the open file @p output.
void convertFiles(Conversion& conversion, const std::vector<std::string>& files, uint64_t output,
                  const std::string& outputName) {
    BackgroundWriter writer(new FileOutputStream(output, false), outputName);
    Progress progress;
    for (const std::string& file : files)
        progress.expect(sizeOf(file));
    for (const std::string& file : files)
        conversion.convert(openSource(file), writer, progress);
    writer.finish();
}

void convert(const Options& options) {
    Conversion conversion(options); // before the output is touched: the encodings may be unknown
    std::vector<std::string> files = options.files;
    if (files.empty())
        files.push_back(StandardStream);
    if (!options.output || *options.output == StandardStream) {
        convertFiles(conversion, files, QXFileStandardOutput(), StandardOutput);
    } else {
        OutputFile output(*options.output);
        convertFiles(conversion, files, output.handle(), *options.output);
        output.commit();
    }
    conversion.finish();
}

void run(const Options& options) {
    if (options.listEncodings)
        return print(encodingList());
    convert(options);
}

} // namespace

int main(int argc, char** argv) {
    return runProgram("qxconv", [&] { run(parseOptions(argc, argv)); });
}
