// URIs: reading, printing, looking up a query value, and escaping, beside their peers.

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include <qx/core/String.h>
#include <qx/net/uri/URI.h>

#ifdef QX_BENCH_HAVE_POCO
#include <Poco/URI.h>
#endif
#ifdef QX_BENCH_HAVE_QT
#include <QString>
#include <QUrl>
#include <QUrlQuery>
#endif

namespace {

constexpr size_t Count = 100'000;

/// URIs as services log them: hosts of three labels, one in eight with a port and one in sixteen
/// with a user, paths of one to five segments, and three in four with one to four query pairs.
const std::vector<std::string>& uris() {
    static const std::vector<std::string> all = [] {
        std::mt19937 random(7);
        const char* const words[] = {"search", "api",   "v2",     "users",   "orders", "item",
                                     "images", "index", "report", "archive", "static", "log"};
        const char* const keys[] = {"q", "page", "lang", "session", "sort", "utm_source"};
        const char* const values[] = {"1", "42", "de-DE", "caf%C3%A9", "b2c4e6a8d0", "new+items"};
        const auto one = [&](const auto& list) -> std::string {
            return list[random() % std::size(list)];
        };
        std::vector<std::string> made;
        while (made.size() < Count) {
            std::string uri = random() % 2 ? "https://" : "http://";
            if (random() % 16 == 0)
                uri += "user" + std::to_string(random() % 100) + "@";
            uri += one(words) + std::to_string(random() % 1000) + ".example.org";
            if (random() % 8 == 0)
                uri += ":" + std::to_string(1024 + random() % 60000);
            for (auto segments = 1 + random() % 5; segments > 0; --segments)
                uri += "/" + one(words);
            if (random() % 4 != 0) {
                char separator = '?';
                for (auto pairs = 1 + random() % 4; pairs > 0; --pairs) {
                    uri += separator + one(keys) + "=" + one(values);
                    separator = '&';
                }
            }
            made.push_back(std::move(uri));
        }
        return made;
    }();
    return all;
}

/// Texts to escape: words in ASCII, with blanks, and in other scripts.
const std::vector<std::string>& texts() {
    static const std::vector<std::string> all{
        "report for the second quarter of 2024 (final).pdf",
        "a/b/c?d=e&f=g",
        "plain-text_without.anything~to-escape",
        "Stra\xC3\x9F"
        "e nach M\xC3\xBCnchen, Gr\xC3\xB6\xC3\x9F"
        "e 42",
        "\xD0\x9F\xD1\x80\xD0\xB8\xD0\xB2\xD0\xB5\xD1\x82, \xD0\xBC\xD0\xB8\xD1\x80",
        "name=value; other=\"quoted text\"",
    };
    return all;
}

/// The same in the string type of who is measured.
template <class Text, class Convert>
std::vector<Text> converted(const std::vector<std::string>& from, Convert&& convert) {
    std::vector<Text> to;
    for (const std::string& text : from)
        to.push_back(convert(text));
    return to;
}

/// Runs @p work on each text; the rate is in texts.
template <class Text, class Work>
void onEach(benchmark::State& state, const std::vector<Text>& all, Work&& work) {
    for (auto _ : state) {
        for (const Text& text : all)
            work(text);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(all.size()));
}

std::vector<qx::String> strings(const std::vector<std::string>& from) {
    return converted<qx::String>(from, qx::String::fromUtf8);
}

void parseQx(benchmark::State& state) {
    onEach(state, strings(uris()),
           [](const qx::String& text) { benchmark::DoNotOptimize(qx::net::URI(text).hasHost()); });
}
BENCHMARK(parseQx)->Name("UriParse/qx");

void printQx(benchmark::State& state) {
    onEach(state, strings(uris()), [](const qx::String& text) {
        benchmark::DoNotOptimize(qx::net::URI(text).toString().getLength());
    });
}
BENCHMARK(printQx)->Name("UriParseAndPrint/qx");

void lookUpQx(benchmark::State& state) {
    const qx::String key(u"session");
    onEach(state, strings(uris()), [&](const qx::String& text) {
        benchmark::DoNotOptimize(qx::net::URI(text).hasQueryValue(key));
    });
}
BENCHMARK(lookUpQx)->Name("UriParseAndLookUp/qx");

void escapeQx(benchmark::State& state) {
    qx::net::URI uri;
    onEach(state, strings(texts()), [&](const qx::String& text) {
        uri.setPath(text, true);
        benchmark::DoNotOptimize(uri);
    });
}
BENCHMARK(escapeQx)->Name("UriEscape/qx");

void unescapeQx(benchmark::State& state) {
    std::vector<qx::net::URI> escaped(texts().size());
    for (size_t i = 0; i < escaped.size(); ++i)
        escaped[i].setPath(qx::String::fromUtf8(texts()[i]), true);
    onEach(state, escaped, [](const qx::net::URI& uri) {
        benchmark::DoNotOptimize(uri.getPath(true).getLength());
    });
}
BENCHMARK(unescapeQx)->Name("UriUnescape/qx");

#ifdef QX_BENCH_HAVE_POCO
void parsePoco(benchmark::State& state) {
    onEach(state, uris(), [](const std::string& text) {
        benchmark::DoNotOptimize(Poco::URI(text).getHost().size());
    });
}
BENCHMARK(parsePoco)->Name("UriParse/poco");

void printPoco(benchmark::State& state) {
    onEach(state, uris(), [](const std::string& text) {
        benchmark::DoNotOptimize(Poco::URI(text).toString().size());
    });
}
BENCHMARK(printPoco)->Name("UriParseAndPrint/poco");

void lookUpPoco(benchmark::State& state) {
    const std::string key = "session";
    onEach(state, uris(), [&](const std::string& text) {
        bool found = false;
        for (const auto& pair : Poco::URI(text).getQueryParameters())
            found = found || pair.first == key;
        benchmark::DoNotOptimize(found);
    });
}
BENCHMARK(lookUpPoco)->Name("UriParseAndLookUp/poco");

void escapePoco(benchmark::State& state) {
    std::string escaped;
    onEach(state, texts(), [&](const std::string& text) {
        escaped.clear();
        Poco::URI::encode(text, "/;=?", escaped);
        benchmark::DoNotOptimize(escaped);
    });
}
BENCHMARK(escapePoco)->Name("UriEscape/poco");

void unescapePoco(benchmark::State& state) {
    const auto escaped = converted<std::string>(texts(), [](const std::string& text) {
        std::string to;
        Poco::URI::encode(text, "/;=?", to);
        return to;
    });
    onEach(state, escaped, [](const std::string& text) {
        std::string plain;
        Poco::URI::decode(text, plain);
        benchmark::DoNotOptimize(plain);
    });
}
BENCHMARK(unescapePoco)->Name("UriUnescape/poco");
#endif

#ifdef QX_BENCH_HAVE_QT
void parseQt(benchmark::State& state) {
    onEach(state, converted<QString>(uris(), QString::fromStdString),
           [](const QString& text) { benchmark::DoNotOptimize(QUrl(text).host().size()); });
}
BENCHMARK(parseQt)->Name("UriParse/qt");

void printQt(benchmark::State& state) {
    onEach(state, converted<QString>(uris(), QString::fromStdString),
           [](const QString& text) { benchmark::DoNotOptimize(QUrl(text).toString().size()); });
}
BENCHMARK(printQt)->Name("UriParseAndPrint/qt");

void lookUpQt(benchmark::State& state) {
    const QString key("session");
    onEach(state, converted<QString>(uris(), QString::fromStdString), [&](const QString& text) {
        benchmark::DoNotOptimize(QUrlQuery(QUrl(text)).hasQueryItem(key));
    });
}
BENCHMARK(lookUpQt)->Name("UriParseAndLookUp/qt");

void escapeQt(benchmark::State& state) {
    onEach(state, converted<QString>(texts(), QString::fromStdString), [](const QString& text) {
        benchmark::DoNotOptimize(QUrl::toPercentEncoding(text, "!$&'()*+,:@").size());
    });
}
BENCHMARK(escapeQt)->Name("UriEscape/qt");
#endif

} // namespace

BENCHMARK_MAIN();
