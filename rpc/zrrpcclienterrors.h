// ZrRPCClientErrors: the status values of ZrRPCClient and their name, explanation ("why") and hint
// ("how") texts. All static, nothing fails: values outside the table get the "unrecognized" texts.
#pragma once

#include <cstdint>

#include "foundation/string/zrunistring.h"

class ZrRPCClientErrors {
public:
    // Gaps in the numbering are deliberate: other values are not defined.
    enum MessageError : uint32_t {
        ERRCallSuccess = 0,
        ERRSelect = 1,
        ERRTimeOut = 2,
        ERRRpcVersion = 3,
        ERRParse = 4,
        ERRSend = 6,
        ERRSendPartial = 7,
        ERRSendEOF = 8,
        ERRRecv = 9,
        ERRBadXid = 10,
        ERRLoopBack = 20,
        ERRBind = 22,
        ERRGetBuffer = 23,
        ERRSendBuffer = 24,
        // A local server's port is held by an account other than root and the owner of the
        // server's configuration: nothing was sent.
        ERRPortHeld = 25,
        ERRTerminal = 100,
    };

    static ZrUniString MessageErrorAsString(MessageError error);
    static ZrUniString MessageStatusWhy(MessageError error);
    static ZrUniString MessageStatusHow(MessageError error);
    // why + "\n" + how.
    static ZrUniString MessageErrorInfo(MessageError error);
    // "Message Error: " + name + "\n" + why + "\n" + how + "\n".
    static ZrUniString CoherentMessageError(MessageError error);
};
