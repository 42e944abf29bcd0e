// Lets every allocation of every script fail in turn, once alone and once with all behind it:
//
//     qx_torture_allocations [--most N] [SCRIPT...]
//
// A script that was failed must end with std::bad_alloc, with an exception of the library or as if
// nothing had happened; it must leave no block of memory behind and nothing half done; and it must
// succeed right afterwards. Prints how many different failures were injected, each of them twice or
// more. With --most only about N allocations of each script fail, spread evenly.

#include <filesystem>
#include <iostream>

#include "tests/support/FailingAllocator.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TemporaryRegistry.h"
#include "tests/torture/Script.h"

namespace {

using Extent = qxtest::FailingAllocator::Extent;
using qxtorture::Script;

struct Torture {
    const int64_t most;
    int64_t injected = 0, runs = 0;
    int scripts = 0, findings = 0;

    void run(const Script& script) {
        script.run(); // what the library keeps once and for all is there from now on
        const int64_t before = qxtest::allocationCount();
        script.run();
        const int64_t step = std::max<int64_t>(1, (qxtest::allocationCount() - before) / most);
        for (const auto extent : {Extent::OnlyThatOne, Extent::FromThereOn}) {
            for (int64_t number = 0; fail(script, number, extent); number += step) {
            }
        }
        ++scripts;
    }

    /// False when the script does not come to that allocation.
    bool fail(const Script& script, int64_t number, Extent extent) {
        const auto report = [&](std::string_view what, std::string_view failure) {
            ++findings;
            std::cout << script.name << ", allocation " << number
                      << (extent == Extent::OnlyThatOne ? "" : " and all behind") << ": " << what
                      << failure << '\n';
        };
        // Runs the script with the failure and without.
        const auto inject = [&] {
            bool failed = false;
            {
                const qxtest::FailingAllocator allocator(number, extent);
                try {
                    script.run();
                } catch (const std::bad_alloc&) {
                } catch (const qx::Exception&) {
                } catch (const std::exception& failure) {
                    report("", failure.what());
                }
                failed = allocator.hasFailed();
            }
            if (!failed)
                return false;
            ++runs;
            const std::string failure = qxtorture::failureOf([&] {
                if (script.check)
                    script.check();
                script.run();
            });
            if (!failure.empty())
                report("fails afterwards: ", failure);
            return true;
        };
        const auto grows = [&] {
            const int64_t before = qxtest::liveBlocksOfProcess();
            inject();
            return qxtest::liveBlocksOfProcess() > before;
        };
        if (!inject())
            return false;
        ++injected;
        // What is kept for later use is kept once; a leak goes on.
        int growths = 0;
        while (growths < 4 && grows())
            ++growths;
        if (growths == 4)
            report("leaves blocks behind each time", "");
        return true;
    }
};

} // namespace

int main(int argc, char** argv) {
    const qxtorture::Arguments arguments(argc, argv, "--most");
    const qxtest::TemporaryFolder folder;
    std::filesystem::current_path(folder.path());
    const qxtest::TemporaryRegistry registry;

    qxtorture::Scripts scripts;
    addValueScripts(scripts);
    addServiceScripts(scripts);
    Torture torture{static_cast<int64_t>(std::max(arguments.number.value_or(1e18), 1.0))};
    for (const Script& script : scripts) {
        if (arguments.chooses(script.name))
            torture.run(script);
    }
    std::cout << torture.scripts << " scripts, " << torture.injected << " failures injected in "
              << torture.runs << " runs, " << torture.findings << " findings\n";
    return torture.findings == 0 && torture.scripts > 0 ? 0 : 1;
}
