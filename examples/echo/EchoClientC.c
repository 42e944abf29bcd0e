/* The client of EchoClient.cpp in C: EchoClientC HOST PORT [ROUNDS]. */

#define _POSIX_C_SOURCE 199309L

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include <qx/net/nettcp.h>

#define LINE_CAPACITY 16384
#define PATIENCE_MS 10000

/* Prints what failed and with which code, its low digits being the number of the socket error. */
static int fail(const char* what, ENUM_QX_E_SOCKET code) {
    fprintf(stderr, "EchoClientC: %s: error %d\n", what, code == 0 ? 0 : (int)(code & 0xFFFF));
    return 1;
}

static ENUM_QX_E_SOCKET send_all(QxNetTcpClientSocket* socket, const char* from, size_t length) {
    while (length > 0) {
        int64_t sent = 0;
        const ENUM_QX_E_SOCKET code = QxNetTcpClientSocketSend(socket, from, length, 0, &sent);
        if (code != 0)
            return code;
        from += sent;
        length -= (size_t)sent;
    }
    return 0;
}

/* Receives exactly so many bytes; fewer when the connection ends are an error. */
static ENUM_QX_E_SOCKET receive_all(QxNetTcpClientSocket* socket, char* to, size_t length) {
    while (length > 0) {
        int64_t received = 0;
        const ENUM_QX_E_SOCKET code = QxNetTcpClientSocketRecv(socket, to, length, 0, &received);
        if (received == 0)
            return QX_E_SOCKET_EDISCON;
        if (received < 0)
            return code;
        to += received;
        length -= (size_t)received;
    }
    return 0;
}

/* Sends the text of a file line by line and prints the answers if asked to; counts the lines. */
static ENUM_QX_E_SOCKET run_round(QxNetTcpClientSocket* socket, FILE* text, int prints,
                                  long* trips) {
    char line[LINE_CAPACITY], answer[LINE_CAPACITY];
    while (fgets(line, sizeof line, text) != NULL) {
        const size_t length = strlen(line);
        ENUM_QX_E_SOCKET code = send_all(socket, line, length);
        if (code == 0)
            code = receive_all(socket, answer, length);
        if (code != 0)
            return code;
        if (prints)
            fwrite(answer, 1, length, stdout);
        ++*trips;
    }
    return 0;
}

/* Standard input as a file that can be read several times. */
static FILE* copy_of_input(void) {
    char block[LINE_CAPACITY];
    size_t length;
    FILE* const copy = tmpfile();
    while (copy != NULL && (length = fread(block, 1, sizeof block, stdin)) > 0)
        fwrite(block, 1, length, copy);
    return copy;
}

static double now(void) {
    struct timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return (double)time.tv_sec + (double)time.tv_nsec / 1e9;
}

int main(int argc, char** argv) {
    const int port = argc > 2 ? atoi(argv[2]) : 0;
    const int rounds = argc > 3 ? atoi(argv[3]) : 1;
    if (port < 1 || port > 0xFFFF || rounds < 1 || argc > 4) {
        fprintf(stderr, "usage: EchoClientC HOST PORT [ROUNDS]\n");
        return 2;
    }
    FILE* const text = copy_of_input();
    if (text == NULL) {
        perror("EchoClientC");
        return 1;
    }

    QxNetTcpClientSocket* socket = NULL;
    ENUM_QX_E_SOCKET code =
        QxNetTcpClientSocketStaticConnect(argv[1], (uint16_t)port, PATIENCE_MS, &socket);
    const char* what = "connect";
    const double start = now();
    long trips = 0;
    for (int round = 0; code == 0 && round < rounds; ++round) {
        what = "echo";
        rewind(text);
        code = run_round(socket, text, round == 0, &trips);
    }
    const double time = now() - start;
    fclose(text);
    QxNetTcpSocketStaticDestroy(&socket);
    if (code != 0)
        return fail(what, code);
    fprintf(stderr, "%ld round trips, %ld a second\n", trips, (long)((double)trips / time));
    if (fflush(stdout) != 0 || ferror(stdout)) {
        perror("EchoClientC: standard output");
        return 1;
    }
    return 0;
}
