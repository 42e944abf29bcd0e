#include "Objects.h"

#include <cstdio>

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

/// What a terminal could take for a command is written as an escape.
std::string visible(const std::string& text) {
    std::string shown;
    for (const char each : text) {
        const auto byte = static_cast<unsigned char>(each);
        char escape[5];
        if (byte < 0x20 || byte == 0x7F) {
            std::snprintf(escape, sizeof escape, "\\x%02X", static_cast<unsigned>(byte));
            shown += escape;
        } else {
            shown += each;
        }
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
        return "just being made, or of another version of the library";
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

std::string userJson(const User& user) {
    const auto truth = [](bool value) { return value ? "true" : "false"; };
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
           ", \"file\": " + jsonString(object.path) + ", \"users\": [" + users + "]}";
}

/// Objects as a visitor comes to them.
int32_t collect(const QXSharedObject* object, void* to) {
    NamedObject copy{object->name, object->path, object->kind, object->value, {}};
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
        throw Failure(Failure::Runtime, "objects between processes: " + describeResult(r));
    return objects;
}

} // namespace

std::vector<NamedObject> listObjects() { return collectBy(QXSharedObjectsVisit); }

std::vector<NamedObject> removeUnused() { return collectBy(QXSharedObjectsClean); }

std::string titleOf(const NamedObject& object) {
    return std::string(kindName(object.kind)) + ' ' + visible(object.name);
}

std::string textOf(const std::vector<NamedObject>& objects) {
    std::string text;
    for (const NamedObject& object : objects) {
        text += titleOf(object) + ": " + valueText(object) + '\n';
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
