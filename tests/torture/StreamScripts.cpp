#include "tests/torture/Script.h"

#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/io/BufferedInputStream.h>
#include <qx/io/BufferedOutputStream.h>
#include <qx/io/BufferedReader.h>
#include <qx/io/BufferedWriter.h>
#include <qx/io/ByteArrayInputStream.h>
#include <qx/io/ByteArrayOutputStream.h>
#include <qx/io/FileInputStream.h>
#include <qx/io/FileOutputStream.h>
#include <qx/io/HeldFlushWriter.h>
#include <qx/io/InputStreamReader.h>
#include <qx/io/NullOutputStream.h>
#include <qx/io/OutputStreamWriter.h>
#include <qx/io/PrintWriter.h>
#include <qx/io/StringWriter.h>
#include <qx/util/FilePath.h>

namespace qxtorture {

using namespace qx::io;
using qx::makeReference;
using qx::String;

namespace {

const char Bytes[] = "The first line\nthe second\r\nand a third line that is somewhat longer\n";

void writeInMode(unsigned int mode) {
    FileOutputStream file(String(u"torture.txt"), mode);
    file.write(Bytes, 20);
    file.write(Bytes, 10);
    file.flush();
    file.close();
    file.open();
    file.getSize();
}

void readLines(InputStream* source, const char16_t* encoding) {
    const auto reader = makeReference<InputStreamReader>(source, encoding);
    BufferedReader lines(reader, 16);
    String line;
    while (lines.readLine(line) >= 0) {
    }
}

const Script scripts[] = {
    {"stream.memory",
     [] {
         ByteArrayOutputStream out;
         for (int i = 0; i < 50; ++i)
             out.write(Bytes, sizeof Bytes - 1);
         out.toString();
     }},
    {"stream.buffered",
     [] {
         const auto memory = makeReference<ByteArrayOutputStream>();
         BufferedOutputStream out(memory, 32);
         out.write(Bytes, sizeof Bytes - 1);
         out.write(static_cast<signed char>('x'));
         out.flush();
         const auto source = makeReference<ByteArrayInputStream>(
             reinterpret_cast<const signed char*>(Bytes), static_cast<int32_t>(sizeof Bytes - 1));
         BufferedInputStream in(source, 16);
         in.mark(40);
         signed char bytes[30];
         in.read(bytes, 30);
         in.reset();
         in.skip(35);
         in.read();
     }},
    {"file.emptied and written", [] { writeInMode(FileOutputStream::TRUNC); }},
    {"file.continued", [] { writeInMode(FileOutputStream::ATEND); }},
    {"file.appended to in turns", [] { writeInMode(FileOutputStream::APPEND); }},
    {"file.kept closed",
     [] { writeInMode(FileOutputStream::KEEPCLOSED | FileOutputStream::TRUNC); }},
    {"file.locked", [] { writeInMode(FileOutputStream::LOCK | FileOutputStream::TRUNC); }},
    {"file.read",
     [] {
         { FileOutputStream(String(u"read.txt"), false).write(Bytes, sizeof Bytes - 1); }
         const auto file = makeReference<FileInputStream>(String(u"read.txt"));
         readLines(file, u"UTF-8");
     }},
    {"file.missing",
     [] {
         try {
             FileInputStream file(String(u"missing.txt"));
         } catch (const qx::ResultException&) {
         }
     }},
    {"reader.lines in UTF-16",
     [] {
         const auto memory = makeReference<ByteArrayOutputStream>();
         OutputStreamWriter writer(memory, u"UTF-16LE");
         writer.write(u"first\nsecond\n\U0001F600 third");
         writer.flush();
         readLines(makeReference<ByteArrayInputStream>(memory->getBytes(), memory->getSize()),
                   u"UTF-16LE");
     }},
    {"writer.printed",
     [] {
         const auto text = makeReference<StringWriter>();
         const auto buffered = makeReference<BufferedWriter>(text, 16);
         PrintWriter out(buffered, true);
         out.println(u"text");
         out.println(1.25);
         out.print(7);
         out.print("bytes");
         out.println(true);
         text->toString();
     }},
    {"writer.held back",
     [] {
         const auto text = makeReference<StringWriter>();
         HeldFlushWriter writer(text);
         writer.write(u"held back");
         writer.flush();
         writer.release();
     }},
    {"path.taken apart",
     [] {
         const qx::util::FilePath path(String(u"/usr/share/../lib/./libqx.so.1"));
         path.getName();
         path.getBaseName();
         path.getExtension();
         path.getParentPath();
         path.getChildPath(u"child");
         path.getAbsolutePath();
         path.getCanonicalPath();
         qx::util::FilePath::getCurrentDir();
         qx::util::FilePath::getTempDir();
     }},
};

} // namespace

std::span<const Script> streamScripts() { return scripts; }

} // namespace qxtorture
