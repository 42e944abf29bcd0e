#pragma once

/// @file
/// Socket addresses for C.
///
/// Every function returns 0 or a code: QX_E_SOCKET_EINVAL for a null pointer and for an address
/// that is neither IPv4 nor IPv6. Any thread may call them.
///
/// A function that gives a text takes the capacity of @p buffer in bytes from @p length. On success
/// the buffer holds the text with a terminating nul, which @p length counts. After a failure it
/// holds the empty text and @p length is 0; QX_E_SOCKET_EFAULT says that the text does not fit.

#include <qx/net/nettypes.h>

#ifdef __cplusplus
extern "C" {
#endif

/// Gives the host as numeric text, without the port.
QX_API ENUM_QX_E_SOCKET QxNetInetAddressGetAddressStr(const qx_sockaddr_union* address,
                                                      char* buffer, uint32_t* length);

/// Stores in @p out 1 for the address that stands for all addresses of the machine, else 0.
QX_API ENUM_QX_E_SOCKET QxNetInetAddressIsAddressAny(const qx_sockaddr_union* address,
                                                     int16_t* out);
/// Stores in @p out 1 for exactly 127.0.0.1 or ::1, else 0.
QX_API ENUM_QX_E_SOCKET QxNetInetAddressIsAddressLoopback(const qx_sockaddr_union* address,
                                                          int16_t* out);
/// Stores in @p out 1 for 255.255.255.255, else 0.
QX_API ENUM_QX_E_SOCKET QxNetInetAddressIsAddressNone(const qx_sockaddr_union* address,
                                                      int16_t* out);

/// Gives host and port as text: "127.0.0.1:8080", "[::1]:8080".
QX_API ENUM_QX_E_SOCKET QxNetInetSocketAddressGetDiagnosticStr(const qx_sockaddr_union* address,
                                                               char* buffer, uint32_t* length);

/// Stores the port of a TCP service in host order; 0 for an empty name and after a failure.
QX_API ENUM_QX_E_SOCKET
QxNetInetSocketAddressStaticGetPortHostOrderFromTcpServiceName(const char* service, uint16_t* port);

#ifdef __cplusplus
}
#endif
