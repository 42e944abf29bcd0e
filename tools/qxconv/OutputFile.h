#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include <qx/core/PlatformHandle.h>
#include <qx/platform/files.h>
#include <qx/platform/replace.h>

/// A file that appears, or replaces the old one, only when it is complete: it is written aside in
/// the same folder and renamed by commit. Until then the destructor, and SIGINT and SIGTERM, remove
/// what was written. A symbolic link stays one, and an existing file keeps its permissions.
///
/// What is no regular file (a pipe, a terminal, a device) is written directly.
///
/// One at a time.
class OutputFile {
public:
    /// @throws Failure that tells @p name
    explicit OutputFile(const std::string& name);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    /// The open file.
    uint64_t handle() const { return m_replacement ? m_aside : m_handle.get(); }

    /// Closes the file, makes it durable and gives it its name.
    void commit();

private:
    struct Discard {
        void operator()(QXFileReplacement* replacement) const { QXFileReplaceDiscard(replacement); }
    };

    void beginReplacement();

    std::string m_name;                        ///< for messages
    qx::PlatformHandle<&QXFileClose> m_handle; ///< what is written directly
    std::unique_ptr<QXFileReplacement, Discard> m_replacement;
    QXHandle m_aside = 0; ///< the file of the replacement
};
