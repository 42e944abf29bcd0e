#include "qx/core/detail/Subsystem.h"

#include <qx/io/AlphaNumInputStream.h>
#include <qx/io/AlphaNumOutputStream.h>
#include <qx/io/BitInputStream.h>
#include <qx/io/BitOutputStream.h>
#include <qx/io/BufferedInputStream.h>
#include <qx/io/BufferedOutputStream.h>
#include <qx/io/BufferedReader.h>
#include <qx/io/BufferedWriter.h>
#include <qx/io/ByteArrayInputStream.h>
#include <qx/io/ByteArrayOutputStream.h>
#include <qx/io/DataInputStream.h>
#include <qx/io/DataOutputStream.h>
#include <qx/io/FilterInputStream.h>
#include <qx/io/FilterOutputStream.h>
#include <qx/io/FilterReader.h>
#include <qx/io/FilterWriter.h>
#include <qx/io/InputStreamReader.h>
#include <qx/io/IoException.h>
#include <qx/io/NullOutputStream.h>
#include <qx/io/NullWriter.h>
#include <qx/io/OutputStreamWriter.h>
#include <qx/io/PrintWriter.h>
#include <qx/io/StdioInputStream.h>
#include <qx/io/StdioOutputStream.h>
#include <qx/io/StringWriter.h>

namespace qx::io {

namespace {

// clang-format off
constexpr ClassRow Classes[] = {
    known<AlphaNumInputStream>(u"CQXAlphaNumInputStream"),
    known<AlphaNumOutputStream>(u"CQXAlphaNumOutputStream"),
    known<BitInputStream>(u"CQXBitInputStream"),
    known<BitOutputStream>(u"CQXBitOutputStream"),
    known<BufferedInputStream>(u"CQXBufferedInputStream"),
    known<BufferedOutputStream>(u"CQXBufferedOutputStream"),
    known<BufferedReader>(u"CQXBufferedReader"),
    known<BufferedWriter>(u"CQXBufferedWriter"),
    known<ByteArrayInputStream>(u"CQXByteArrayInputStream"),
    creatable<ByteArrayOutputStream>(u"CQXByteArrayOutputStream"),
    known<DataInputStream>(u"CQXDataInputStream"),
    known<DataOutputStream>(u"CQXDataOutputStream"),
    known<FilterInputStream>(u"CQXFilterInputStream"),
    known<FilterOutputStream>(u"CQXFilterOutputStream"),
    known<FilterReader>(u"CQXFilterReader"),
    known<FilterWriter>(u"CQXFilterWriter"),
    known<InputStream>(u"CQXInputStream"),
    known<InputStreamReader>(u"CQXInputStreamReader"),
    creatable<NullOutputStream>(u"CQXNullOutputStream"),
    creatable<NullWriter>(u"CQXNullWriter"),
    known<OutputStream>(u"CQXOutputStream"),
    known<OutputStreamWriter>(u"CQXOutputStreamWriter"),
    known<PrintWriter>(u"CQXPrintWriter"),
    known<Reader>(u"CQXReader"),
    creatable<StdioInputStream>(u"CQXStdioInputStream"),
    creatable<StdioOutputStream>(u"CQXStdioOutputStream"),
    creatable<StringWriter>(u"CQXStringWriter"),
    known<Writer>(u"CQXWriter"),
    creatable<IoException>(u"qx::io::IoException"),
    creatable<TimeoutException>(u"qx::io::TimeoutException"),
    creatable<UnexpectedEOFException>(u"qx::io::UnexpectedEOFException"),
};
// clang-format on

} // namespace

constinit const Subsystem subsystem{.classes = Classes};

} // namespace qx::io
