// Collects log lines: takes connections on several addresses, stores the lines that clients send in
// a log of lines and an XML log, and answers each line once it is on the disk (see Protocol.h).
// SIGTERM and SIGINT stop it: what has been received is stored and answered, and statistics are
// printed.
//
// Settings come from the command line, the registry and an INI file: Service --help. The service
// logs in the language of the user once `qxbundle install messages` has registered the message
// files beside this source. LogSend is a client.
//
// Exit code: 0 stopped by a signal, 1 failed, 2 told something that it does not understand.

#include <chrono>
#include <exception>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include <qx/core/Exception.h>
#include <qx/core/String.h>

#include "Connections.h"
#include "Listener.h"
#include "Logs.h"
#include "Messages.h"
#include "Settings.h"
#include "Statistics.h"
#include "StopSignals.h"

namespace {

using namespace collector;
using namespace std::chrono_literals;
using qx::String;

/// So long may it take until a signal is noticed, and then until clients have taken their answers.
constexpr auto Tick = 100ms;
constexpr auto Farewell = 2s;

void requireStored(Logs& logs) {
    if (!logs.store())
        throw std::runtime_error("the logs cannot be written: " + logs.failure());
}

void serve(const Settings& settings, const StopSignals& stop, std::optional<Listener>& listener,
           Logs& logs) {
    Statistics statistics;
    const Journal journal(settings.locale, logs.processor());
    const Service service{settings, logs, statistics, journal};
    Connections connections(service);

    const std::string addresses = listener->addresses();
    journal.tell(Level::Info, u"service.started", {String::fromUtf8(addresses)});
    requireStored(logs);
    std::cout << "listening on " << addresses << std::endl;
    while (!stop.haveCome() && !logs.hasFailed()) {
        if (auto connection = listener->accept(Tick))
            connections.start(std::move(connection));
        else
            connections.tidy();
    }

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

void run(const Settings& settings, const StopSignals& stop) {
    std::optional<Listener> listener(std::in_place, settings.addresses, settings.port);
    Logs logs(settings.folder, settings.level, settings.largest);
    serve(settings, stop, listener, logs);
    logs.close();
}

} // namespace

int main(int argc, char** argv) {
    try {
        const auto settings = readSettings(argc, argv);
        if (!settings)
            return 0;
        run(*settings, StopSignals());
        return 0;
    } catch (const UsageFailure& failure) {
        std::cerr << "Service: " << failure.what() << " (Service --help tells more)\n";
        return 2;
    } catch (const std::exception& failure) {
        std::cerr << "Service: " << failure.what() << '\n';
    }
    return 1;
}
