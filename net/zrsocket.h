// ZrSocket: a thin wrapper of one BSD socket descriptor that records every failure. Owns the
// descriptor (closed by the destructor; movable, not copyable). Nothing throws: operations return
// false (or result 0) and keep the errno value and a ZrUnixError that reads like the failed call.
#pragma once

#include "net/zrerror.h"
#include "net/zrinetaddr.h"
#include "net/zrsocketaddress.h"

class ZrSocket {
public:
    enum connectionType { stream, datagram };
    // The IP type-of-service classes, see SetTypeOfService.
    enum serviceType { minimumCost = 0, lowDelay = 1, reliability = 2, throughput = 3 };
    // Results of WriteMessage and ReadMessage.
    enum messageResult { messageFailed = 0, messagePartial = 1, messageComplete = 2, messageEndOfFile = 3 };

    ZrSocket() = default;
    // Adopts an open descriptor.
    explicit ZrSocket(int fd) : m_fd(fd) {}
    ~ZrSocket();
    ZrSocket(const ZrSocket&) = delete;
    ZrSocket& operator=(const ZrSocket&) = delete;
    ZrSocket(ZrSocket&& other) noexcept;
    ZrSocket& operator=(ZrSocket&& other) noexcept;

    bool makesock(int domain, int type);
    // Creates the descriptor when there is none yet (stream or datagram), optionally sets
    // SO_REUSEADDR, and binds. An address in use is retried `retries` times, two seconds apart;
    // `verbose` reports the waiting on standard error.
    bool Bind(const ZrSocketAddress& address, connectionType type, bool reuseAddress, unsigned int retries,
              bool verbose);
    // A stream socket is made when there is none yet; a datagram socket connected to an address
    // sends there and the kernel drops every datagram from any other sender.
    bool Connect(const ZrSocketAddress& address);
    // After a non-blocking connect became writable: true when it succeeded; otherwise records the
    // failure and puts its reason into `why`.
    bool ConnectionComplete(ZrUniString& why);
    bool Listen(unsigned int backlog);
    // Accepts one connection from the listening descriptor `listener`; this socket takes it.
    bool AcceptFrom(int listener);
    bool RemoteAddress(ZrInetAddr& address);
    bool LocalAddress(ZrInetAddr& address);

    // One sendto / recvfrom. Results: messageComplete (all sent; for a read, a datagram arrived),
    // messagePartial (fewer bytes sent than asked, count in `written`), messageEndOfFile (zero
    // bytes), messageFailed (an error; all but EAGAIN are recorded).
    int WriteMessage(const void* data, long length, long& written, const ZrInetAddr& to);
    int ReadMessage(void* data, long capacity, long& got, ZrInetAddr& from);
    // The sender of the datagram at the head of the queue, which stays there; never waits. False
    // when nothing is queued (or on a failure, recorded like ReadMessage's).
    bool PeekSender(ZrInetAddr& from);
    // Takes the socket's pending error off (SO_ERROR): a connected datagram socket keeps the refusal
    // of an earlier datagram to a port where nothing listened and would fail the next send with it.
    bool ClearPendingError();

    // 0 when the size cannot be read (the failure is recorded).
    unsigned int GetReceiveBufferSize();
    unsigned int GetTransmitBufferSize();
    bool SetReceiveBufferSize(unsigned int bytes);
    bool SetTransmitBufferSize(unsigned int bytes);
    bool SetDelay(bool noDelay);
    bool SetKeepAlive(bool on);
    bool SetLinger(bool on, int seconds);
    bool SetOOBInLine(bool on);
    bool SetBroadcast(bool on);
    // Sets IP_TOS only when WEX_SET_IP_TOS is in the environment; otherwise succeeds untouched.
    bool SetTypeOfService(serviceType type);

    int Descriptor() const { return m_fd; }
    bool IsOpen() const { return m_fd >= 0; }
    int LastErrno() const { return m_errno; }
    const ZrUnixError& LastError() const { return m_lastError; }
    void Close();

private:
    bool Fail(const char* call, const ZrUniString& trace);
    bool SetIntOption(int level, const char* levelName, int option, const char* optionName, int value,
                      const char* valuePrefix, const char* valueSuffix);
    unsigned int GetIntOption(int option, const char* optionName);
    ZrUniString Fd() const;

    int m_fd = -1;
    int m_errno = 0;
    ZrUnixError m_lastError;
};
