#pragma once

#include <cstdint>
#include <memory>

#include <qx/core/String.h>
#include <qx/io/FileOutputStream.h>
#include <qx/io/OutputStream.h>
#include <qx/platform/export.h>
#include <qx/platform/replace.h>
#include <qx/util/FileName.h>

namespace qx::io {

/// Writes a file that appears, or replaces the old one, as a whole: the bytes go into a file beside
/// it, and commit makes them durable and gives them the name. Whoever opens the file meanwhile, and
/// whoever looks after a crash, finds the old bytes or the new ones. Without commit the old file
/// stays as it is, and what was written is gone.
///
///     qx::io::ReplacingFileOutputStream out(u"state.json");
///     out.write(text);
///     out.commit();
///
/// A symbolic link stays one, and permissions are kept, as QXFileReplace says. Nothing is held
/// back, so wrap a BufferedOutputStream around it for small pieces, and flush that before the
/// commit. Failures raise ResultException with the platform's code and the name of the file.
class QX_API ReplacingFileOutputStream : public OutputStream {
public:
    /// @param permissions  of a file that was not there
    /// @throws InvalidPathException for an empty name and one with a 0 unit in it; ResultException
    ///     with result::AccessDenied for what is no regular file or must not be written
    explicit ReplacingFileOutputStream(const String& name,
                                       FilePermissions permissions = FilePermissions::ForAll);
    explicit ReplacingFileOutputStream(const util::OtherFileName auto& name,
                                       FilePermissions permissions = FilePermissions::ForAll)
        : ReplacingFileOutputStream(util::FileName(name).toString(), permissions) {}

    using OutputStream::write;
    /// Goes on after short writes until everything is written. Of a write that fails in the middle
    /// nothing stays, so that it may be repeated.
    /// @throws ResultException with result::InvalidHandle after commit and close
    void write(const signed char* from, int32_t length) override;
    /// Gives what was written, which may be nothing, the name. Once.
    /// @throws ResultException with which the old file stays, unless only its folder could not be
    ///     made durable; with result::InvalidHandle after commit and close
    void commit();
    /// Gives up what was not committed.
    void close() override { m_replacement.reset(); }

private:
    struct Discard {
        void operator()(QXFileReplacement* replacement) const { QXFileReplaceDiscard(replacement); }
    };

    void requireOpen() const;

    String m_name;
    std::unique_ptr<QXFileReplacement, Discard> m_replacement; ///< null once it has ended
    QXHandle m_file = 0;
};

} // namespace qx::io
