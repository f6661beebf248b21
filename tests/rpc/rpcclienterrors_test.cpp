// The status texts of the RPC client.
#include "rpc/zrrpcclienterrors.h"

#include <gtest/gtest.h>

namespace {

using E = ZrRPCClientErrors;

// The two lines (why, how) that the agent prints after "The command failed: ".
TEST(RPCClientErrors, TableOfTexts) {
    const struct {
        uint32_t value;
        const char* info;
    } rows[] = {
        {0, "No Errors have been encountered\nThe command has been completed successfully"},
        {4, "Failed to decode incoming RPC packet\nMake sure the server is still running"},
        {2, "Connection timed out while contacting the server\nCheck the server is running"},
        {3, "Server responded with incorrect rpc version\nCheck the correct qfsmount version is running"},
        {7, "Client has failed to send the data to the server\nClient failed to process the request"},
        {10, "The client has received a response to a unknown request\nCould not process the request"},
        {20, "Failed to find loopback address\nCheck the loopback interface is up"},
        {24, "Failed to set send buffer size\nClient cannot process request"},
        {100, "\n"},
        {5, "Unrecognized error\nCould not process the request"},
        {4294967295u, "Unrecognized error\nCould not process the request"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(E::MessageErrorInfo(static_cast<E::MessageError>(row.value)).AsUtf8(), row.info)
            << row.value;
}

} // namespace
