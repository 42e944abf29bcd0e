// Carries standard input through a connection and back, by a transport that the program knows by
// name only: TransportEcho TRANSPORT [NAME=VALUE...]. The properties are those of the transport;
// both ends of the connection are here.

#include <exception>
#include <iostream>
#include <iterator>
#include <span>
#include <string>
#include <string_view>

#include <qx/core/Exception.h>
#include <qx/core/Literal.h>
#include <qx/core/String.h>
#include <qx/io/ByteBuffer.h>
#include <qx/io/IChannel.h>
#include <qx/net/IAcceptor.h>
#include <qx/net/IConnector.h>
#include <qx/net/ITransport.h>
#include <qx/net/Transport.h>
#include <qx/util/config/PropertySet.h>

namespace {

using namespace qx::literals;
using qx::String;
using qx::io::ByteBuffer;
using qx::io::IChannel;

void send(IChannel& channel, std::string_view text) {
    ByteBuffer bytes(reinterpret_cast<const signed char*>(text.data()),
                     static_cast<unsigned int>(text.size()), QX_ENDIAN_LITTLE);
    while (bytes.remaining() > 0)
        channel.write(bytes);
}

std::string receive(IChannel& channel, size_t length) {
    std::string text(length, '\0');
    ByteBuffer bytes(reinterpret_cast<signed char*>(text.data()), static_cast<unsigned int>(length),
                     QX_ENDIAN_LITTLE);
    while (bytes.remaining() > 0) {
        if (channel.read(bytes) < 0)
            throw qx::Exception(u"the connection has ended"_qs);
    }
    return text;
}

/// @throws qx::Exception for an argument without "="
void readProperties(int count, char** arguments, qx::util::PropertySet& properties) {
    for (const std::string_view argument : std::span(arguments, static_cast<size_t>(count))) {
        const size_t equals = argument.find('=');
        if (equals == argument.npos)
            throw qx::Exception(String::fromUtf8(argument).append(u" is no NAME=VALUE"));
        properties.set(String::fromUtf8(argument.substr(0, equals)),
                       String::fromUtf8(argument.substr(equals + 1)));
    }
}

} // namespace

int main(int argc, char** argv) try {
    if (argc < 2) {
        std::cerr << "usage: TransportEcho TRANSPORT [NAME=VALUE...]\n";
        return 2;
    }
    qx::util::PropertySet properties;
    readProperties(argc - 2, argv + 2, properties);
    const auto transport = qx::net::Transport::get(String::fromUtf8(argv[1]));
    const auto acceptor = transport->createAcceptor(properties);
    // A transport that chose the place itself has stored it.
    if (properties.hasProperty(u"boundPort"_qs))
        properties.set(u"port"_qs, properties.get(u"boundPort"_qs));
    const auto client = transport->createConnector(properties)->connect();
    const auto server = acceptor->accept();

    const std::string text{std::istreambuf_iterator<char>(std::cin), {}};
    constexpr size_t Piece = 4096; // less than a connection holds, so that one thread suffices
    for (size_t at = 0; at < text.size(); at += Piece) {
        const std::string_view piece = std::string_view(text).substr(at, Piece);
        send(*client, piece);
        send(*server, receive(*server, piece.size()));
        std::cout << receive(*client, piece.size());
    }
    return std::cout.flush() ? 0 : 1;
} catch (const std::exception& failure) {
    std::cerr << "TransportEcho: " << failure.what() << '\n';
    return 1;
}
