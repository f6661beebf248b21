// The status texts of the RPC client.
#include "rpc/zrrpcclienterrors.h"

#include <gtest/gtest.h>

namespace {

using E = ZrRPCClientErrors;

TEST(RPCClientErrors, TableOfNamesAndTexts) {
    struct Row {
        uint32_t value;
        const char* name;
        const char* why;
        const char* how;
    } rows[] = {
        {0, "ERRCallSuccess", "No Errors have been encountered",
         "The command has been completed successfully"},
        {4, "ERRParse", "Failed to decode incoming RPC packet", "Make sure the server is still running"},
        {2, "ERRTimeOut", "Connection timed out while contacting the server", "Check the server is running"},
        {3, "ERRRpcVersion", "Server responded with incorrect rpc version",
         "Check the correct qfsmount version is running"},
        {7, "ERRSendPartial", "Client has failed to send the data to the server",
         "Client failed to process the request"},
        {10, "ERRBadXid", "The client has received a response to a unknown request",
         "Could not process the request"},
        {20, "ERRLoopBack", "Failed to find loopback address", "Check the loopback interface is up"},
        {24, "ERRSendBuffer", "Failed to set send buffer size", "Client cannot process request"},
        {100, "ERRTerminal", "", ""},
        {5, "Unknown MessageStatus (5)", "Unrecognized error", "Could not process the request"},
        {4294967295u, "Unknown MessageStatus (4294967295)", "Unrecognized error",
         "Could not process the request"},
    };
    for (const Row& row : rows) {
        auto e = static_cast<E::MessageError>(row.value);
        EXPECT_EQ(E::MessageErrorAsString(e).AsUtf8(), row.name);
        // The explanation's two lines (why, how), alone and after the name.
        const std::string info = std::string(row.why) + "\n" + row.how;
        EXPECT_EQ(E::MessageErrorInfo(e).AsUtf8(), info);
        EXPECT_EQ(E::CoherentMessageError(e).AsUtf8(),
                  "Message Error: " + std::string(row.name) + "\n" + info + "\n");
    }
}

} // namespace
