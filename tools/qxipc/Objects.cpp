#include "Objects.h"

#include <cstdio>
#include <string_view>

#include <unistd.h>

#include <qx/core/String.h>
#include <qx/platform/result.h>

#include "tools/common/Failure.h"
#include "tools/common/Json.h"

namespace {

/// The names of the kinds, by their numbers.
constexpr const char* KindNames[] = {"unknown",   "mutex",  "condition",          "event", "gate",
                                     "semaphore", "signal", "reader-writer-lock", "memory"};

const char* kindName(uint32_t kind) {
    return KindNames[kind < std::size(KindNames) ? kind : QX_SHARED_KIND_UNKNOWN];
}

/// The bytes of the character that a text begins with and a terminal only shows; none where it may
/// be a command, is no UTF-8, or is the backslash of an escape.
std::string_view plainCharacter(std::string_view text) {
    const auto lead = static_cast<unsigned char>(text[0]);
    if (lead < 0x80)
        return text.substr(0, lead >= 0x20 && lead != 0x7F && lead != '\\' ? 1 : 0);
    const std::string_view character = text.substr(0, lead < 0xC0   ? 0
                                                      : lead < 0xE0 ? 2
                                                      : lead < 0xF0 ? 3
                                                                    : 4);
    const bool isCommand = lead == 0xC2 && static_cast<unsigned char>(character.back()) < 0xA0;
    return !isCommand && qx::String::fromUtf8(character).toUtf8() == character ? character
                                                                               : std::string_view();
}

/// Everything else is written as escapes.
std::string visible(std::string_view text) {
    std::string shown;
    while (!text.empty()) {
        if (const std::string_view plain = plainCharacter(text); !plain.empty()) {
            shown += plain;
            text.remove_prefix(plain.size());
            continue;
        }
        char escape[5];
        std::snprintf(escape, sizeof escape, "\\x%02X",
                      static_cast<unsigned>(static_cast<unsigned char>(text[0])));
        shown += escape;
        text.remove_prefix(1);
    }
    return shown;
}

std::string times(int64_t count, const char* one) {
    return std::to_string(count) + ' ' + one + (count == 1 ? "" : "s");
}

std::string valueText(const NamedObject& object) {
    const int64_t value = object.value;
    switch (object.kind) {
    case QX_SHARED_KIND_MUTEX:
    case QX_SHARED_KIND_CONDITION:
        return value == 0 ? "free" : value == 1 ? "held" : "held " + times(value, "time");
    case QX_SHARED_KIND_RWLOCK:
        return value == 0 ? "free" : value < 0 ? "held by a writer" : times(value, "reader");
    case QX_SHARED_KIND_EVENT:
        return value != 0 ? "signalled" : "not signalled";
    case QX_SHARED_KIND_GATE:
        return value != 0 ? "open" : "closed";
    case QX_SHARED_KIND_SEMAPHORE:
        return times(value, "unit") + " free";
    case QX_SHARED_KIND_SIGNAL:
        return times(value, "unit");
    case QX_SHARED_KIND_MEMORY:
        return times(value, "byte");
    default:
        return "being made or left unfinished, of another version of the library, or not readable "
               "(" +
               object.path + ')';
    }
}

std::string userText(const User& user) {
    std::string text;
    const auto add = [&](const std::string& part) { text += (text.empty() ? "" : ", ") + part; };
    if (user.isWriter)
        add("writes");
    if (user.held > 0)
        add("holds " + std::to_string(user.held));
    if (user.waiting > 0)
        add("waits" + (user.waiting > 1 ? " " + times(user.waiting, "time") : ""));
    if (text.empty())
        text = "uses it";
    const std::string who = !user.isAlive         ? "dead"
                            : user.processId == 0 ? "unknown process"
                                                  : std::to_string(user.processId);
    return "  " + who + ": " + text + (user.command.empty() ? "" : "  " + visible(user.command)) +
           '\n';
}

const char* truth(bool value) { return value ? "true" : "false"; }

std::string userJson(const User& user) {
    return "{\"process\": " +
           (user.processId != 0 ? std::to_string(user.processId) : std::string("null")) +
           ", \"alive\": " + truth(user.isAlive) + ", \"holds\": " + std::to_string(user.held) +
           ", \"writes\": " + truth(user.isWriter) +
           ", \"waits\": " + std::to_string(user.waiting) +
           ", \"command\": " + jsonString(user.command) + '}';
}

std::string objectJson(const NamedObject& object) {
    std::string users;
    for (const User& user : object.users)
        users += (users.empty() ? "" : ", ") + userJson(user);
    return "{\"kind\": \"" + std::string(kindName(object.kind)) +
           "\", \"name\": " + jsonString(object.name) +
           ", \"value\": " + std::to_string(object.value) +
           ", \"fromDead\": " + truth(object.isFromDead) +
           ", \"file\": " + jsonString(object.path) + ", \"users\": [" + users + "]}";
}

/// Objects as a visitor comes to them.
int32_t collect(const QXSharedObject* object, void* to) {
    NamedObject copy{
        object->name, object->path, object->kind, object->value, object->isFromDead != 0, {}};
    for (uint32_t i = 0; i < object->userCount; ++i) {
        const QXSharedUser& user = object->users[i];
        copy.users.push_back({user.processId, user.isAlive != 0, user.held, user.isWriter != 0,
                              user.waiting, user.command});
    }
    static_cast<std::vector<NamedObject>*>(to)->push_back(std::move(copy));
    return qx::result::Ok;
}

std::vector<NamedObject> collectBy(int32_t (*function)(QXSharedObjectVisitor, void*)) {
    if (const char* const lack = QXSharedObjectsLack())
        throw Failure(Failure::Runtime, lack);
    std::vector<NamedObject> objects;
    if (const int32_t r = function(collect, &objects); r < 0)
        throw Failure(Failure::Runtime,
                      "/dev/shm/qx-" + std::to_string(geteuid()) + ": " + describeResult(r) +
                          " (it must be a folder of this user alone, with mode 0700)");
    return objects;
}

} // namespace

std::vector<NamedObject> listObjects() { return collectBy(QXSharedObjectsVisit); }

std::vector<NamedObject> removeUnused() { return collectBy(QXSharedObjectsClean); }

bool isNamed(const NamedObject& object, const std::string& name) {
    QXSharedObject asked{};
    asked.path = object.path.c_str();
    return QXSharedObjectHasName(&asked, name.c_str()) != 0 || object.name == name ||
           visible(object.name) == name;
}

std::string titleOf(const NamedObject& object) {
    return std::string(kindName(object.kind)) + ' ' + visible(object.name);
}

std::string textOf(const std::vector<NamedObject>& objects) {
    std::string text;
    for (const NamedObject& object : objects) {
        text += titleOf(object) + ": " + valueText(object) +
                (object.isFromDead ? ", left by the dead\n" : "\n");
        for (const User& user : object.users)
            text += userText(user);
    }
    return text;
}

std::string jsonOf(const std::vector<NamedObject>& objects, bool isOnOneLine) {
    if (!isOnOneLine)
        return jsonBracketed(objects, '[', ']', "", objectJson) + '\n';
    std::string text;
    for (const NamedObject& object : objects)
        text += (text.empty() ? "" : ", ") + objectJson(object);
    return '[' + text + "]\n";
}
