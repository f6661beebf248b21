// Runs the agent binary as a child process and collects its exit code and both output streams.
#pragma once

#include <string>
#include <vector>

struct ProcessResult {
    int exitCode = -1; // 128 + n when killed by signal n
    std::string out;
    std::string err;
    double seconds = 0;
};

ProcessResult RunProcess(const std::vector<std::string>& argv, const std::vector<std::string>& env = {},
                         int timeoutSeconds = 30);

// build/bin/kpatdmcl of the build that holds this test.
std::string AgentPath();
