// platform::Confine: what a running agent may still do to the system. Once start-up is over, a parser
// taken over by hostile input can no longer start programs or processes, trace, mount, load kernel code
// or write files; it keeps its displays, its sockets and the one link it manages. Irreversible for the
// process and its future threads. What the kernel does not offer is left out silently.
#pragma once

namespace platform {

// What Confine put in place: the system-call filter, and the file-system rules.
struct Confinement {
    bool filter = false;
    bool fileSystem = false;
};

// Sets no_new_privs, then, where the kernel offers them, file-system rules under which reading stays
// as it was while writing is refused everywhere and entries are made (symbolic links only) and removed
// only in the directory that holds `linkPath`, and a system-call filter that refuses starting programs,
// new processes (threads stay), tracing, mounts, module loading, kexec, BPF, performance events, the key
// ring, userfaultfd, namespaces and personality changes, and kills the process for a foreign system-call
// convention. Without no_new_privs neither is installed.
Confinement Confine(const char* linkPath);

} // namespace platform
