#include <gtest/gtest.h>

#include "process_runner.h"

namespace {

const std::string kUsage =
    "Usage: kpatdmcl --dmpdisplay <display> [--servercfg <config>] [--delay <seconds>]\n";

struct UsageCase {
    std::vector<std::string> args;
    std::string message;
};

TEST(CommandLineUsage, EveryUsageErrorPrintsItsTextAndTheUsageLineAndExitsOne) {
    const UsageCase cases[] = {
        {{}, "No arguments were specified\n"},
        // The first argument is examined before the count.
        {{"--display", ":1"}, "Unknown argument: --display\n"},
        {{"--DMPDISPLAY", ":1"}, "Unknown argument: --DMPDISPLAY\n"},
        {{"-dmpdisplay"}, "Unknown argument: -dmpdisplay\n"},
        {{"--dmpdisplay"}, "The wrong number of arguments were used: 1\n"},
        {{"--dmpdisplay", ":1", "--delay"}, "The wrong number of arguments were used: 3\n"},
        {{"--dmpdisplay", ":1", "a", "b", "c"}, "The wrong number of arguments were used: 5\n"},
        {{"--dmpdisplay", ":1", "a", "b", "c", "d", "e", "f"},
         "The wrong number of arguments were used: 8\n"},
    };
    for (const UsageCase& c : cases) {
        std::vector<std::string> argv{AgentPath()};
        argv.insert(argv.end(), c.args.begin(), c.args.end());
        ProcessResult r = RunProcess(argv);
        EXPECT_EQ(r.exitCode, 1) << c.message;
        EXPECT_EQ(r.err, c.message + kUsage);
        EXPECT_EQ(r.out, "");
    }
}

TEST(CommandLineUsage, NonUtf8ArgumentIsReportedWithoutCrashing) {
    ProcessResult r = RunProcess({AgentPath(), "--\xff\xfe"});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.err.substr(0, 18), "Unknown argument: ");
}

TEST(CommandLineDelay, LeadingNumberSleepsAndOthersDoNot) {
    // A configuration file that does not exist ends the run right after the option scan.
    const std::string missing = "/nonexistent/kpatdmcl-test.prf";
    ProcessResult slept =
        RunProcess({AgentPath(), "--dmpdisplay", ":1", "--delay", "1x", "--servercfg", missing});
    EXPECT_GE(slept.seconds, 1.0);
    for (const char* value : {"0", "abc", "-3", ""}) {
        ProcessResult r =
            RunProcess({AgentPath(), "--dmpdisplay", ":1", "--delay", value, "--servercfg", missing});
        EXPECT_LT(r.seconds, 1.0) << value;
    }
}

} // namespace
