/* The floor the agent is measured against: the least a program can do against the same peers.
 *
 *   floor mem   <display>              open the display with libX11, say "OPEN", wait for EOF
 *   floor rtt   <display> <port>       per line on stdin: one XSync and one bare control call
 *                                      (GetConfig, 103) answered by the simulator; prints
 *                                      "<x ns> <control ns> <monotonic ns when the call was sent>"
 *   floor start <display> <port>       one RegisterDisplay call (105), then XOpenDisplay; prints the
 *                                      monotonic time at which the display was open, then exits
 *
 * Compiled by bench_agent.py at run time (cc -O2 floor.c -lX11). */
#include <X11/Xlib.h>
#include <arpa/inet.h>
#include <netinet/in.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

static uint64_t now_ns(void) {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return (uint64_t)ts.tv_sec * 1000000000u + (uint64_t)ts.tv_nsec;
}

static size_t put_u32(unsigned char* p, uint32_t v) {
    v = htonl(v);
    memcpy(p, &v, 4);
    return 4;
}

/* Control strings travel as 16-bit little-endian units ended by a zero unit (ASCII only here). */
static size_t put_ustr(unsigned char* p, const char* s) {
    size_t n = 0;
    for (; *s; ++s) {
        p[n++] = (unsigned char)*s;
        p[n++] = 0;
    }
    p[n++] = 0;
    p[n++] = 0;
    return n;
}

/* An ONC RPC call to program 100003 version 2 with AUTH_NONE, carrying one control request. */
static size_t build_call(unsigned char* buf, uint32_t xid, uint32_t proc, const char* user,
                         const char* display) {
    size_t n = 0;
    n += put_u32(buf + n, xid);
    n += put_u32(buf + n, 0);      /* call */
    n += put_u32(buf + n, 2);      /* RPC version */
    n += put_u32(buf + n, 100003); /* program */
    n += put_u32(buf + n, 2);      /* version */
    n += put_u32(buf + n, proc);
    n += put_u32(buf + n, 0); /* credentials: none */
    n += put_u32(buf + n, 0);
    n += put_u32(buf + n, 0); /* verifier: none */
    n += put_u32(buf + n, 0);
    n += put_u32(buf + n, proc); /* the request's command word repeats the procedure */
    n += put_ustr(buf + n, user);
    if (display)
        n += put_ustr(buf + n, display);
    return n;
}

static int open_udp(const char* port) {
    int fd = socket(AF_INET, SOCK_DGRAM, 0);
    struct sockaddr_in sa;
    memset(&sa, 0, sizeof sa);
    sa.sin_family = AF_INET;
    sa.sin_port = htons((uint16_t)atoi(port));
    sa.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (fd < 0 || connect(fd, (struct sockaddr*)&sa, sizeof sa) != 0) {
        perror("udp");
        exit(2);
    }
    return fd;
}

static void call(int fd, uint32_t xid, uint32_t proc, const char* user, const char* display) {
    unsigned char buf[512], reply[65536];
    size_t n = build_call(buf, xid, proc, user, display);
    if (send(fd, buf, n, 0) != (ssize_t)n) {
        perror("send");
        exit(2);
    }
    for (;;) {
        ssize_t got = recv(fd, reply, sizeof reply, 0);
        if (got < 0) {
            perror("recv");
            exit(2);
        }
        uint32_t rxid;
        memcpy(&rxid, reply, 4);
        if (got >= 4 && ntohl(rxid) == xid)
            return;
    }
}

int main(int argc, char** argv) {
    if (argc < 3) {
        fprintf(stderr, "usage: floor mem|rtt|start <display> [port]\n");
        return 2;
    }
    if (strcmp(argv[1], "start") == 0 && argc == 4) {
        int fd = open_udp(argv[3]);
        call(fd, 1, 105, "benchfloor", argv[2]);
        Display* d = XOpenDisplay(argv[2]);
        if (!d)
            return 5;
        printf("%llu\n", (unsigned long long)now_ns());
        return 0;
    }
    Display* d = XOpenDisplay(argv[2]);
    if (!d) {
        fprintf(stderr, "cannot open %s\n", argv[2]);
        return 5;
    }
    if (strcmp(argv[1], "mem") == 0) {
        puts("OPEN");
        fflush(stdout);
        while (getchar() != EOF) {
        }
        return 0;
    }
    if (strcmp(argv[1], "rtt") == 0 && argc == 4) {
        int fd = open_udp(argv[3]);
        uint32_t xid = 1000;
        puts("READY");
        fflush(stdout);
        int c;
        while ((c = getchar()) != EOF) {
            if (c != '\n')
                continue;
            uint64_t t0 = now_ns();
            XSync(d, False);
            uint64_t t1 = now_ns();
            call(fd, ++xid, 103, "benchfloor", NULL);
            uint64_t t2 = now_ns();
            printf("%llu %llu %llu\n", (unsigned long long)(t1 - t0), (unsigned long long)(t2 - t1),
                   (unsigned long long)t1);
            fflush(stdout);
        }
        return 0;
    }
    fprintf(stderr, "unknown mode %s\n", argv[1]);
    return 2;
}
