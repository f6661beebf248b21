#include "rpc/zrrpcclienterrors.h"

#include <string>

namespace {

struct ErrorText {
    uint32_t value;
    const char* name;
    const char* why;
    const char* how;
};

constexpr ErrorText kErrors[] = {
    {0, "ERRCallSuccess", "No Errors have been encountered", "The command has been completed successfully"},
    {1, "ERRSelect", "The client select command has failed",
     "Check the configured client timeout parameters"},
    {2, "ERRTimeOut", "Connection timed out while contacting the server", "Check the server is running"},
    {3, "ERRRpcVersion", "Server responded with incorrect rpc version",
     "Check the correct qfsmount version is running"},
    {4, "ERRParse", "Failed to decode incoming RPC packet", "Make sure the server is still running"},
    {6, "ERRSend", "Client has failed to send data to the server", "Client failed to process the request"},
    {7, "ERRSendPartial", "Client has failed to send the data to the server",
     "Client failed to process the request"},
    {8, "ERRSendEOF", "Socket End of File error", "Client failed to process the request"},
    {9, "ERRRecv", "Client has failed to receive data from the server",
     "Client failed to process the request"},
    {10, "ERRBadXid", "The client has received a response to a unknown request",
     "Could not process the request"},
    {20, "ERRLoopBack", "Failed to find loopback address", "Check the loopback interface is up"},
    {22, "ERRBind", "Client failed to bind to a socket", "Client cannot process request"},
    {23, "ERRGetBuffer", "Failed to set get buffer size", "Client cannot process request"},
    {24, "ERRSendBuffer", "Failed to set send buffer size", "Client cannot process request"},
    {25, "ERRPortHeld", "The file server's port is held by another account", "Check the server is running"},
    {100, "ERRTerminal", "", ""},
};

const ErrorText* Find(uint32_t value) {
    for (const ErrorText& entry : kErrors)
        if (entry.value == value)
            return &entry;
    return nullptr;
}

} // namespace

// Not called by the agent; names an error for diagnostics (the agent prints MessageErrorInfo).
ZrUniString ZrRPCClientErrors::MessageErrorAsString(MessageError error) {
    if (const ErrorText* entry = Find(error))
        return ZrUniString(entry->name);
    return ZrUniString(("Unknown MessageStatus (" + std::to_string(uint32_t(error)) + ")").c_str());
}

ZrUniString ZrRPCClientErrors::MessageStatusWhy(MessageError error) {
    const ErrorText* entry = Find(error);
    return ZrUniString(entry ? entry->why : "Unrecognized error");
}

ZrUniString ZrRPCClientErrors::MessageStatusHow(MessageError error) {
    const ErrorText* entry = Find(error);
    return ZrUniString(entry ? entry->how : "Could not process the request");
}

ZrUniString ZrRPCClientErrors::MessageErrorInfo(MessageError error) {
    return MessageStatusWhy(error) + ZrUniString("\n") + MessageStatusHow(error);
}

// Not called by the agent; the full error text for diagnostics (the agent prints MessageErrorInfo).
ZrUniString ZrRPCClientErrors::CoherentMessageError(MessageError error) {
    return ZrUniString("Message Error: ") + MessageErrorAsString(error) + ZrUniString("\n") +
           MessageStatusWhy(error) + ZrUniString("\n") + MessageStatusHow(error) + ZrUniString("\n");
}
