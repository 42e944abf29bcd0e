#pragma once

/*
 * Socket addresses for C. Functions return 0 or a code; QX_E_SOCKET_EINVAL for a null pointer and
 * for an address that is neither IPv4 nor IPv6.
 *
 * A text output has its capacity in bytes in *length. It is made empty, with 0 in *length, and then
 * holds the text with a terminating nul, which *length counts; QX_E_SOCKET_EFAULT when they do not
 * fit.
 */

#include <qx/net/nettypes.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The host as numeric text, without the port. */
QX_API ENUM_QX_E_SOCKET QxNetInetAddressGetAddressStr(const qx_sockaddr_union* address,
                                                      char* buffer, uint32_t* length);

/* *out is 1 or 0: for the address that stands for all of the machine, for exactly 127.0.0.1 or ::1,
 * and for 255.255.255.255. */
QX_API ENUM_QX_E_SOCKET QxNetInetAddressIsAddressAny(const qx_sockaddr_union* address,
                                                     int16_t* out);
QX_API ENUM_QX_E_SOCKET QxNetInetAddressIsAddressLoopback(const qx_sockaddr_union* address,
                                                          int16_t* out);
QX_API ENUM_QX_E_SOCKET QxNetInetAddressIsAddressNone(const qx_sockaddr_union* address,
                                                      int16_t* out);

/* Host and port as text: "127.0.0.1:8080", "[::1]:8080". */
QX_API ENUM_QX_E_SOCKET QxNetInetSocketAddressGetDiagnosticStr(const qx_sockaddr_union* address,
                                                               char* buffer, uint32_t* length);

/* Port in host order of a TCP service; 0 for an empty name and after a failure. */
QX_API ENUM_QX_E_SOCKET
QxNetInetSocketAddressStaticGetPortHostOrderFromTcpServiceName(const char* service, uint16_t* port);

#ifdef __cplusplus
}
#endif
