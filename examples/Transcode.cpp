// Carries a text from one encoding to another: Transcode FROM TO <input >output

#include <exception>
#include <iostream>

#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/io/FileInputStream.h>
#include <qx/io/FileOutputStream.h>
#include <qx/io/InputStreamReader.h>
#include <qx/io/OutputStreamWriter.h>
#include <qx/platform/files.h>

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: Transcode FROM TO <input >output\n";
        return 2;
    }
    try {
        using namespace qx::io;
        auto in = qx::makeReference<FileInputStream>(QXFileStandardInput(), false);
        auto out = qx::makeReference<FileOutputStream>(QXFileStandardOutput(), false);
        auto reader = qx::makeReference<InputStreamReader>(in, qx::String(argv[1]).getData());
        auto writer = qx::makeReference<OutputStreamWriter>(out, qx::String(argv[2]).getData());

        char16_t block[4096];
        for (int32_t units; (units = reader->read(block, 4096)) > 0;)
            writer->write(block, units);
        writer->flush();
    } catch (const std::exception& exception) {
        std::cerr << "Transcode: " << exception.what() << '\n';
        return 1;
    }
}
