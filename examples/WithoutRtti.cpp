// Uses the library from a program that is compiled without run-time type information (-fno-rtti):
// texts, numbers, collections, failures, a log, a class of its own, and a file: WithoutRtti FILE

#include <exception>
#include <iostream>

#include <qx/collections/List.h>
#include <qx/collections/Map.h>
#include <qx/collections/pcom/ArrayList.h>
#include <qx/core/CastTo.h>
#include <qx/core/Exception.h>
#include <qx/core/Float.h>
#include <qx/core/Implements.h>
#include <qx/core/Integer.h>
#include <qx/core/ObjectBehind.h>
#include <qx/core/Reference.h>
#include <qx/core/String.h>
#include <qx/io/BufferedReader.h>
#include <qx/io/FileInputStream.h>
#include <qx/io/InputStreamReader.h>
#include <qx/io/StringWriter.h>
#include <qx/log/BasicLogWriter.h>
#include <qx/log/Level.h>
#include <qx/log/LevelFilter.h>
#include <qx/log/Logger.h>

namespace sky {

class INamed : public IQXUnknown {
public:
    static constexpr qx::GUID Iid{
        0x8D1F63B2, 0x4C70, 0x4A19, {0x9E, 0x55, 0x07, 0xC2, 0x3B, 0xD8, 0x41, 0x6A}};

    virtual const char* GetName() = 0;

protected:
    ~INamed() = default;
};

/// Its class is not known at run time: who needs more than an Object asks for an interface.
class Planet : public qx::pcom::Implements<qx::Object, INamed> {
public:
    explicit Planet(const char* name) : m_name(name) {}

    const char* GetName() override { return m_name; }
    bool equals(const qx::Object& other) const override { return toString() == other.toString(); }
    int compareTo(const qx::Object& other) const override {
        return toString().compare(other.toString());
    }
    qx::String toString() const override { return qx::String(m_name); }

private:
    const char* m_name;
};

} // namespace sky

namespace {

using qx::makeReference;
using qx::Reference;
using qx::String;
using qx::log::Level;

class Overheated : public qx::Exception {
public:
    using Exception::Exception;
};

/// Calls what should fail and says how.
template <class Failing>
void show(Failing&& failing) {
    try {
        failing();
        std::cout << "no failure\n";
    } catch (const Overheated& failure) {
        std::cout << "overheated: " << failure.getDescription() << '\n';
    } catch (const qx::CastFailedException& failure) {
        std::cout << "cast: " << failure.getDescription() << '\n';
    } catch (const std::exception& failure) {
        std::cout << failure.what() << '\n';
    }
}

void useCollections() {
    qx::collections::List<String> words{u"pear", u"apple", u"fig"};
    words.sort();
    for (const auto& word : words)
        std::cout << *word << ' ';
    std::cout << words.indexOf(u"fig") << '\n';

    qx::collections::Map<String, qx::Double> masses{{u"Venus", 4.87}, {u"Mars", 0.642}};
    const qx::collections::Map<String, qx::Double> same(masses.getWrapped());
    std::cout << masses.get(u"Mars")->toString() << ' ' << masses.equals(same) << '\n';

    // Numbers of different classes, found again by the class that they have in common.
    qx::collections::List<qx::Number> numbers;
    numbers.add(makeReference<qx::Integer32>(7));
    numbers.add(makeReference<qx::UInteger64>(8u));
    numbers.add(makeReference<qx::Double>(0.5));
    double sum = 0;
    for (const auto& number : numbers)
        sum += number->toDouble();
    const Reference<qx::Object> copy(numbers.get(0)->clone());
    std::cout << sum << ' ' << copy->equals(*numbers.get(0)) << ' '
              << (qx::castTo<qx::Integer32>(copy.get()) != nullptr)
              << (qx::castTo<qx::Double>(copy.get()) != nullptr) << '\n';
}

void useOwnClass() {
    const auto things = makeReference<qx::collections::pcom::ArrayList>();
    const auto mars = makeReference<sky::Planet>("Mars");
    const sky::Planet another("Mars");
    things->add(mars);
    things->add(makeReference<String>(u"a text"));
    std::cout << things->indexOf(another) << ' '
              << (qx::pcom::objectBehind<String>(things->get(0)) == nullptr) << ' '
              << things->get(0).queryOrThrow<sky::INamed>()->GetName() << ' '
              << *qx::collections::List<qx::Object>(things).get(0) << '\n';

    show([&] { things->get(1).queryOrThrow<sky::INamed>(); });
    show([&] { static_cast<void>(qx::collections::List<qx::Number>(things).get(1)); });
    show([&] { static_cast<void>(qx::collections::List<sky::Planet>(things).get(0)); });
    show([&] { static_cast<void>(mars->clone()); });
    show([&] { static_cast<void>(String(u"a").compareTo(*mars)); });
    show([] { throw Overheated(u"too near to the sun"); });
}

void useStreams(const char* file) {
    const auto text = makeReference<qx::io::StringWriter>();
    const auto logger = qx::log::Logger::create(u"planets");
    logger->setProcessor(
        qx::log::LevelFilter::create(qx::log::BasicLogWriter::create(text), Level::Warning));
    logger->log(Level::Warning, u"{0} of {1} seen", 7, makeReference<qx::Integer32>(8));
    std::cout << text->toString();

    const auto bytes = makeReference<qx::io::FileInputStream>(file);
    const auto reader = makeReference<qx::io::BufferedReader>(
        makeReference<qx::io::InputStreamReader>(bytes, u"UTF-8"));
    int units = 0;
    for (const String& line : reader->lines())
        units += line.getLength();
    std::cout << units << '\n';
}

} // namespace

int main(int argc, char** argv) try {
    if (argc != 2) {
        std::cerr << "usage: " << argv[0] << " FILE\n";
        return 2;
    }
    useCollections();
    useOwnClass();
    useStreams(argv[1]);
    return std::cout.flush() ? 0 : 1;
} catch (const std::exception& failure) {
    std::cerr << "WithoutRtti: " << failure.what() << '\n';
    return 1;
}
