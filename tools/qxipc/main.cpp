// qxipc: shows what processes share by name, and removes what killed ones left.

#include <string>
#include <utility>

#include <qx/core/String.h>
#include <qx/exec/Thread.h>
#include <qx/util/SystemName.h>

#include "Objects.h"
#include "Options.h"
#include "tools/common/Program.h"

using Command = Options::Command;

namespace {

std::vector<NamedObject> chosenObjects(const Options& options) {
    std::vector<NamedObject> objects = listObjects();
    if (options.name) {
        const std::string name = qx::util::toSystemName(*options.name);
        std::erase_if(objects, [&](const NamedObject& each) { return !isNamed(each, name); });
    }
    return objects;
}

void list(const Options& options) {
    const std::vector<NamedObject> objects = chosenObjects(options);
    if (options.name && objects.empty())
        throw Failure(Failure::Runtime, options.name->toUtf8() + ": no object of that name");
    print(options.json ? jsonOf(objects, false) : textOf(objects));
}

void watch(const Options& options) {
    std::string shown;
    bool isFirst = true;
    for (int32_t count = 0; options.count == 0 || count < options.count;) {
        if (!std::exchange(isFirst, false))
            qx::exec::Thread::sleep(static_cast<uint32_t>(options.interval));
        const std::vector<NamedObject> objects = chosenObjects(options);
        std::string state = options.json      ? jsonOf(objects, true)
                            : objects.empty() ? "nothing\n"
                                              : textOf(objects);
        if (state != shown) {
            print(options.json || count == 0 ? state : '\n' + state);
            shown = std::move(state);
            ++count;
        }
    }
}

void clean(const Options& options) {
    const std::vector<NamedObject> removed = removeUnused();
    if (options.json)
        return print(jsonOf(removed, false));
    for (const NamedObject& each : removed)
        print("removed " + titleOf(each) + '\n');
}

void run(const Options& options) {
    switch (options.command) {
    case Command::List:
        return list(options);
    case Command::Watch:
        return watch(options);
    case Command::Clean:
        return clean(options);
    }
}

} // namespace

int main(int argc, char** argv) {
    return runProgram("qxipc", [&] { run(parseOptions(argc, argv)); });
}
