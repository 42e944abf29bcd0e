// qxconv: converts text files from one encoding to another.

#include <algorithm>
#include <filesystem>
#include <optional>
#include <set>
#include <span>

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
    requireFile(QXFileOpen(file.c_str(), QX_FILE_READ, 0, &handle), file);
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
void convertFiles(Conversion& conversion, std::span<const std::string> files, uint64_t output,
                  const std::string& outputName, Progress& progress) {
    BackgroundWriter writer(new FileOutputStream(output, false), outputName);
    for (const std::string& file : files)
        conversion.convert(openSource(file), writer, progress);
    conversion.endOutput(writer);
    writer.finish();
}

/// Converts files to the file of a name.
void convertTo(Conversion& conversion, std::span<const std::string> files, const std::string& name,
               Progress& progress, const std::string& keep = {}) {
    OutputFile output(name);
    convertFiles(conversion, files, output.handle(), name, progress);
    if (!keep.empty()) {
        std::error_code error;
        fs::copy_file(name, keep, fs::copy_options::overwrite_existing, error);
        if (error)
            throw Failure(Failure::Runtime, keep + ": " + error.message());
    }
    output.commit();
}

/// Refuses what is no file, and a file that would be written anew twice, or be what is kept of
/// another one.
void requireReplaceable(const std::vector<std::string>& files, const std::string& suffix) {
    std::set<fs::path> places;
    std::error_code error; // what cannot be reached is told when it is opened
    for (const std::string& file : files) {
        if (fs::is_other(fs::status(file, error)))
            throw Failure(Failure::Runtime, file + ": is no file that can be written anew");
        const fs::path place = fs::weakly_canonical(file, error);
        if (!error && !places.insert(place).second)
            throw Failure(Failure::Usage, file + ": is another name of a file before it");
    }
    for (const std::string& file : files)
        if (!suffix.empty() && places.contains(fs::weakly_canonical(file + suffix, error)))
            throw Failure(Failure::Usage,
                          file + suffix + ": would be what is kept of " + file + ", and is a file");
}

/// The names of the files of their own, which must differ.
std::vector<std::string> namesIn(const fs::path& folder, const std::vector<std::string>& files) {
    if (!fs::is_directory(folder))
        throw Failure(Failure::Runtime, folder.string() + ": is no folder");
    std::vector<std::string> names;
    for (const std::string& file : files) {
        const std::string name = (folder / fs::path(file).filename()).string();
        if (std::ranges::find(names, name) != names.end())
            throw Failure(Failure::Usage, "two of the files would be " + name);
        names.push_back(name);
    }
    return names;
}

void convert(const Options& options) {
    Conversion conversion(options); // before the output is touched: the encodings may be unknown
    std::vector<std::string> files = options.files;
    if (files.empty())
        files.push_back(StandardStream);
    for (std::string& file : files)
        std::ranges::replace(file, '\\', '/'); // both separate, as everywhere in the library
    if (options.inPlace)
        requireReplaceable(files, options.keep);
    Progress progress;
    for (const std::string& file : files)
        progress.expect(sizeOf(file));
    if (options.folder || options.inPlace) {
        const auto names = options.folder ? namesIn(*options.folder, files) : files;
        for (std::size_t i = 0; i < files.size(); ++i)
            convertTo(conversion, {&files[i], 1}, names[i], progress,
                      options.keep.empty() ? "" : files[i] + options.keep);
    } else if (!options.output || isStandardOutput(*options.output)) {
        convertFiles(conversion, files, QXFileStandardOutput(), StandardOutput, progress);
    } else {
        convertTo(conversion, files, *options.output, progress);
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
