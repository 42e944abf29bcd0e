// Lets every allocation of every script fail in turn, once alone and once with all behind it:
//
//     qx_torture_allocations [--most N] [SCRIPT...]
//
// A script that was failed must end with std::bad_alloc, with an exception of the library or as if
// nothing had happened; it must leave no block of memory behind and nothing half done; and it must
// succeed right afterwards. Prints how many different failures were injected, each of them twice or
// more. With --most only about N allocations of each script fail, spread evenly.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <limits>
#include <new>
#include <string_view>
#include <vector>

#include <qx/core/Exception.h>
#include <qx/core/String.h>

#include "tests/support/FailingAllocator.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TemporaryRegistry.h"
#include "tests/torture/Script.h"

namespace {

using qxtest::FailingAllocator;
using qxtorture::Script;

std::vector<Script> allScripts() {
    std::vector<Script> all;
    for (const auto scripts : {qxtorture::valueScripts(), qxtorture::streamScripts(),
                               qxtorture::serviceScripts(), qxtorture::componentScripts()})
        all.insert(all.end(), scripts.begin(), scripts.end());
    return all;
}

class Torture {
public:
    explicit Torture(int64_t most) : m_most(most) {}

    void run(const Script& script) {
        script.run(); // what the library keeps once and for all is there from now on
        const int64_t before = qxtest::allocationCount();
        script.run();
        const int64_t step = std::max<int64_t>(1, (qxtest::allocationCount() - before) / m_most);
        for (const auto extent :
             {FailingAllocator::Extent::OnlyThatOne, FailingAllocator::Extent::FromThereOn}) {
            for (int64_t number = 0; fail(script, number, extent); number += step) {
            }
        }
        ++m_scripts;
    }
    int64_t injected() const { return m_injected; }
    int64_t runs() const { return m_runs; }
    int scripts() const { return m_scripts; }
    int findings() const { return m_findings; }

private:
    /// False when the script does not come to that allocation.
    bool fail(const Script& script, int64_t number, FailingAllocator::Extent extent) {
        if (!inject(script, number, extent))
            return false;
        ++m_injected;
        // What is kept for later use is kept once; a leak goes on.
        int growths = 0;
        while (growths < 4 && grows(script, number, extent))
            ++growths;
        if (growths == 4)
            report(script, number, extent) << "leaves blocks behind each time\n";
        return true;
    }

    bool grows(const Script& script, int64_t number, FailingAllocator::Extent extent) {
        const int64_t before = qxtest::liveBlocksOfProcess();
        inject(script, number, extent);
        return qxtest::liveBlocksOfProcess() > before;
    }

    /// Runs the script with the failure and without.
    bool inject(const Script& script, int64_t number, FailingAllocator::Extent extent) {
        bool failed = false;
        {
            const FailingAllocator allocator(number, extent);
            try {
                script.run();
            } catch (const std::bad_alloc&) {
            } catch (const qx::Exception&) {
            } catch (const std::exception& failure) {
                report(script, number, extent) << failure.what() << '\n';
            }
            failed = allocator.hasFailed();
        }
        if (!failed)
            return false;
        ++m_runs;
        try {
            if (script.check)
                script.check();
            script.run();
        } catch (const qx::Exception& failure) {
            report(script, number, extent) << "fails afterwards: " << failure.toString() << ' '
                                           << failure.getDescription() << '\n';
        } catch (const std::exception& failure) {
            report(script, number, extent) << "fails afterwards: " << failure.what() << '\n';
        }
        return true;
    }

    std::ostream& report(const Script& script, int64_t number, FailingAllocator::Extent extent) {
        ++m_findings;
        return std::cout << script.name << ", allocation " << number
                         << (extent == FailingAllocator::Extent::OnlyThatOne ? ""
                                                                             : " and all behind")
                         << ": ";
    }

    const int64_t m_most;
    int64_t m_injected = 0;
    int64_t m_runs = 0;
    int m_scripts = 0;
    int m_findings = 0;
};

} // namespace

int main(int argc, char** argv) {
    int64_t most = std::numeric_limits<int64_t>::max();
    std::vector<std::string_view> chosen(argv + 1, argv + argc);
    if (chosen.size() >= 2 && chosen[0] == "--most") {
        most = std::max(1L, std::atol(argv[2]));
        chosen.erase(chosen.begin(), chosen.begin() + 2);
    }
    const qxtest::TemporaryFolder folder;
    std::filesystem::current_path(folder.path());
    const qxtest::TemporaryRegistry registry;

    Torture torture(most);
    for (const Script& script : allScripts()) {
        if (chosen.empty() || std::ranges::any_of(chosen, [&](std::string_view name) {
                return std::string_view(script.name).starts_with(name);
            }))
            torture.run(script);
    }
    std::cout << torture.scripts() << " scripts, " << torture.injected() << " failures injected in "
              << torture.runs() << " runs, " << torture.findings() << " findings\n";
    return torture.findings() == 0 && torture.scripts() > 0 ? 0 : 1;
}
