// Collects log lines: takes connections on several addresses, stores the lines that clients send in
// a log of lines and an XML log, and answers each line once it is on the disk (see Protocol.h).
// SIGTERM and SIGINT stop it: what has been received is stored and answered, and statistics are
// printed. SIGHUP has it open service.log anew, and read its certificate again.
//
// A service manager such as systemd may hand it sockets that listen, which then take the place of
// the addresses in the settings, and is told how it goes (see Manager.h, collector.service).
//
// Settings come from the command line, the registry and an INI file: Service --help. The service
// logs in the language of the user once `qxbundle install messages` has registered the message
// files beside this source. LogSend is a client.
//
// Exit code: 0 stopped by a signal, 1 failed, 2 told something that it does not understand.

#include <algorithm>
#include <exception>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include <qx/core/Exception.h>
#include <qx/core/String.h>

#include "Connections.h"
#include "Encryption.h"
#include "Listener.h"
#include "Logs.h"
#include "Manager.h"
#include "Messages.h"
#include "Settings.h"
#include "Signals.h"
#include "Statistics.h"

namespace {

using namespace collector;
using namespace std::chrono_literals;
using qx::String;

/// So long may it take until clients have taken their answers.
constexpr auto Farewell = 2s;

void requireStored(Logs& logs) {
    if (!logs.store())
        throw std::runtime_error("the logs cannot be written: " + logs.failure());
}

void reopen(Manager& manager, const Service& service, Encryption& encryption,
            const std::string& status) {
    manager.reloading();
    Logs& logs = service.logs;
    logs.reopen();
    // Before that is written, the log is opened: it has to have a level that gets there.
    const auto lowest = static_cast<Level>(service.settings.level);
    service.journal.tell(std::max(Level::Info, lowest), u"service.reopened", {});
    requireStored(logs);
    if (encryption.isOn()) {
        try {
            encryption.renew();
        } catch (const UsageFailure& failure) {
            std::cerr << "Service: " << failure.what() << ", that of before holds" << std::endl;
        }
    }
    manager.ready(status);
}

void serve(const Settings& settings, const Signals& signals, Manager& manager,
           std::optional<Listener>& listener, Encryption& encryption, Logs& logs) {
    Statistics statistics;
    const Journal journal(settings.locale, logs.processor());
    const Service service{settings, logs, statistics, journal, encryption};
    Connections connections(service);

    const std::string addresses = listener->addresses();
    journal.tell(Level::Info, u"service.started", {String::fromUtf8(addresses)});
    requireStored(logs);
    std::cout << "listening on " << addresses << std::endl;
    const auto status = [&] {
        return "listening on " + addresses + ", " + std::to_string(connections.count()) +
               " connections, " + statistics.storedLines().toUtf8() + " lines stored";
    };
    manager.ready(status());
    while (!signals.haveStopped() && !logs.hasFailed()) {
        if (auto connection = listener->accept(manager.longestPause()))
            connections.start(std::move(connection));
        else
            connections.tidy();
        if (Signals::takeHangup())
            reopen(manager, service, encryption, status());
        if (const std::string failure = logs.takeRenewalFailure(); !failure.empty())
            std::cerr << "Service: service.log cannot be renewed: " << failure << std::endl;
        manager.alive(status());
    }

    manager.stopping("until clients have their answers");
    listener.reset(); // who comes now is refused
    connections.tidy();
    journal.tell(Level::Info, u"service.stopping", {String::valueOf(connections.count())});
    connections.stop(Farewell);
    journal.tell(Level::Info, u"service.stopped", {statistics.storedLines()});
    std::cout << statistics.report() << std::flush;
    requireStored(logs);
    if (!std::cout)
        throw std::runtime_error("the statistics cannot be written");
}

void run(const Settings& settings, const Signals& signals, Manager& manager) {
    Encryption encryption(settings);
    std::optional<Listener> listener;
    if (manager.sockets().empty())
        listener.emplace(settings.addresses, settings.port);
    else
        listener.emplace(manager.sockets());
    Logs logs(settings.folder, settings.level, settings.largest);
    serve(settings, signals, manager, listener, encryption, logs);
    logs.close();
}

/// Says why the service ends, to whoever started it.
void tell(std::optional<Manager>& manager, const std::string& why, const char* hint) {
    std::cerr << "Service: " << why << hint << '\n';
    if (manager)
        manager->failed(why);
}

} // namespace

int main(int argc, char** argv) {
    const Signals signals; // one that comes from here on is not missed
    std::optional<Manager> manager;
    try {
        manager.emplace();
        const auto settings = readSettings(argc, argv);
        if (!settings)
            return 0;
        run(*settings, signals, *manager);
        return 0;
    } catch (const UsageFailure& failure) {
        tell(manager, failure.what(), " (Service --help tells more)");
        return 2;
    } catch (const std::exception& failure) {
        tell(manager, failure.what(), "");
    }
    return 1;
}
