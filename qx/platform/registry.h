#pragma once

/// @file
/// The registry: trees of keys that hold named values, kept in files of the user and shared by his
/// processes. Each root is one tree in one file of its own.
///
/// A path names a key below the root: names with "\" between them; empty ones are skipped, so the
/// empty path is the root, which always exists. The names of keys and values are any UTF-16 text
/// without a 0 unit, lone surrogates included; they are looked up without regard to letter case and
/// kept as first written. A key has at most one value of the empty name, its default value.
///
/// Every change is atomic and durable: when the call returns Ok, all of it is on the disk; when the
/// process is killed, the power fails or the call returns an error, none of it is there or, if only
/// the answer was lost, all of it. Readers take no lock between processes and see every change that
/// was finished before. Reading what did not change since the last time costs one look at the
/// file's status. A change waits while another process makes one; 0x800700AA when somebody who may
/// only read the file has kept it locked for three seconds.
///
/// Limits: 65,535 units for a path and for a name, 512 names in a path (a change or a walk beyond
/// gives 0x800700CE, and a look finds nothing), 64 MiB for the data of a value (0x80070057). A
/// damaged file gives 0x80070570 or the last state that is whole and is then never written over; a
/// file or folder that belongs to somebody else, or that others may write (see module.h),
/// 0x80070005; a file of a later format 0x80070032. All functions may be called from any thread.
/// Out-parameters are 0, empty or all ones after a failure, unless said otherwise.

#include <qx/platform/export.h>
#include <qx/platform/types.h>

#ifdef __cplusplus
/// The root of a key; the plain names are those of the native view.
enum ENUM_QX_HKEY : int32_t {
#else
typedef int32_t ENUM_QX_HKEY;
enum {
#endif
    QX_HKEY_CLASSES_32 = 0,
    QX_HKEY_CONFIG_32 = 1,
    QX_HKEY_USER = 2,
    QX_HKEY_CLASSES_64 = 3,
    QX_HKEY_CONFIG_64 = 4,
    QX_HKEY_CLASSES_CROSS = QX_HKEY_CLASSES_32,
    QX_HKEY_CONFIG_CROSS = QX_HKEY_CONFIG_32,
    QX_HKEY_CLASSES = QX_HKEY_CLASSES_64,
    QX_HKEY_CONFIG = QX_HKEY_CONFIG_64
};

#ifdef __cplusplus
/// What a value is.
enum ENUM_QX_REG_TYPE : int32_t {
#else
typedef int32_t ENUM_QX_REG_TYPE;
enum {
#endif
    QX_REG_STRING = 0, ///< UTF-16 with its terminating 0 unit: an even number of bytes
    QX_REG_UINT32 = 1, ///< 4 bytes
    QX_REG_UINT64 = 2, ///< 8 bytes
    QX_REG_BYTES = 3
};

#ifdef __cplusplus
extern "C" {
#endif

/// Points the registry of this process to another folder, an absolute path that need not exist yet;
/// null: to "qx/registry" in the folder that XDG_DATA_HOME names, else in ~/.local/share. The
/// folder is made, for its owner alone, by the first change. A program with rights beyond its
/// user's, by the group or the capabilities of its file, has no such folder, and of one that it
/// names here it takes only what belongs to the superuser.
QX_API int32_t QXRegistrySetFolder(const char* folder);
/// The folder, which need not exist; 0x80004009 when it does not fit.
QX_API int32_t QXRegistryGetFolder(char* buffer, int32_t capacity);

/// Reads a value. @p length: the capacity of @p buffer in bytes, then the bytes stored; a null
/// buffer asks for type and length alone. 0x80004009 when it does not fit: type and length are
/// those of the value. Type may be null. 0x80070002 when there is no such key or value.
QX_API int32_t QXRegistryGetValue(ENUM_QX_HKEY root, const char16_t* path, const char16_t* name,
                                  ENUM_QX_REG_TYPE* type, void* buffer, int32_t* length);
/// Sets or replaces a value of a key, which is made when it does not exist.
QX_API int32_t QXRegistrySetValue(ENUM_QX_HKEY root, const char16_t* path, const char16_t* name,
                                  ENUM_QX_REG_TYPE type, const void* data, int32_t length);
/// Deletes a value; its key stays, even without values. 0x80070002 when there is no such value.
QX_API int32_t QXRegistryDeleteValue(ENUM_QX_HKEY root, const char16_t* path, const char16_t* name);
/// Deletes the key with all below it. 0x80070002 when there is none, 0x80070057 for the root.
QX_API int32_t QXRegistryDeleteKey(ENUM_QX_HKEY root, const char16_t* path);

#define QX_REG_CREATE_KEY 1   ///< uses the path alone; an existing key stays as it is
#define QX_REG_SET_VALUE 2    ///< uses all members
#define QX_REG_DELETE_VALUE 3 ///< path and name; nothing when there is none
#define QX_REG_DELETE_KEY 4   ///< the path alone; nothing when there is none

/// One change of QXRegistryApply. Members that the kind does not use may be anything.
typedef struct QXRegistryChange {
    int32_t kind; ///< QX_REG_CREATE_KEY and so on
    ENUM_QX_REG_TYPE type;
    const char16_t* path;
    const char16_t* name;
    const void* data;
    int32_t length;
} QXRegistryChange;

/// Makes changes of one root, in their order, as one: all of them or none.
QX_API int32_t QXRegistryApply(ENUM_QX_HKEY root, const QXRegistryChange* changes, int32_t count);

/// Begins a walk over the names of a key's direct subkeys, in the order of their lower-case units.
/// It shows the key as it was at this moment, whatever happens meanwhile. 0x80070002 when the key
/// does not exist. One walk is for one thread at a time.
QX_API int32_t QXRegistryOpenKeyEnum(ENUM_QX_HKEY root, const char16_t* path, QXHandle* walk);
/// The same over the names of a key's values.
QX_API int32_t QXRegistryOpenValueEnum(ENUM_QX_HKEY root, const char16_t* path, QXHandle* walk);
/// The next name of a walk over subkeys. @p length: the capacity of @p name in units, then the
/// units stored without the terminating 0 unit. 0x80004009 when the name does not fit: the length
/// is then the one needed, without the 0 unit, and the walk stays where it is. 0x80070103 at the
/// end.
QX_API int32_t QXRegistryEnumNextKey(QXHandle walk, char16_t* name, int32_t* length);
/// The same for a walk over values.
QX_API int32_t QXRegistryEnumNextValue(QXHandle walk, char16_t* name, int32_t* length);
/// Ends a walk.
QX_API int32_t QXRegistryCloseEnum(QXHandle walk);

/// A number that differs from the last one when something in the root was changed since, by
/// whatever process. Costs one look at the file's status when nothing was.
QX_API int32_t QXRegistryGetVersion(ENUM_QX_HKEY root, uint64_t* version);

#ifdef __cplusplus
}
#endif
