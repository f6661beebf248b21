// The numeric constants of ONC RPC version 2 messages as the records use them.
#pragma once

#include <cstdint>

struct ZrRPCEnum {
    enum AuthFlavour : uint32_t { AuthNone = 0, AuthUnix = 1 };
    enum MessageType : uint32_t { Call = 0, Reply = 1 };
    enum ReplyStatus : uint32_t { MsgAccepted = 0, MsgDenied = 1 };
    enum AcceptStatus : uint32_t {
        Success = 0,
        ProgUnavail = 1,
        ProgMismatch = 2,
        ProcUnavail = 3,
        GarbageArgs = 4,
    };
    enum RejectStatus : uint32_t { RpcMismatch = 0, AuthError = 1 };
    static constexpr uint32_t RpcVersion = 2;
};
