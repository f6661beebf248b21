// platform::Confine: what a running agent may still do to the system. Once start-up is over, a parser
// taken over by hostile input can no longer start programs or processes, trace, mount, load kernel code,
// write files or change their modes, owners, attributes or times, signal other processes, or reach TCP
// ports other than displays'; it keeps its displays, its sockets and the link it manages, which the
// rules cannot tell from any other entry beneath the link's directory. Irreversible for the process and its
// future threads. What the kernel does not offer is left out silently.
#pragma once

namespace platform {

// What Confine put in place: the system-call filter, and the file-system rules.
struct Confinement {
    bool filter = false;
    bool fileSystem = false;
};

// Sets no_new_privs, then, where the kernel offers them, Landlock rules under which reading stays as it
// was while writing is refused everywhere and entries are made (symbolic links only) and removed only
// beneath the directory that holds `linkPath`; TCP goes out only to the ports of X displays 0 to 999 and
// is never served (Landlock ABI 4); signals reach no other process (ABI 6). Then a system-call filter
// that refuses starting programs, new processes (threads stay), tracing, mounts, module loading, kexec,
// BPF, performance events, the key ring, userfaultfd, namespaces, personality changes, and changing a
// file's mode, owner, extended attributes, attribute flags or times; it answers calls newer than the
// build's headers as unknown, and kills the process for a foreign system-call convention. Without
// no_new_privs neither is installed.
Confinement Confine(const char* linkPath);

} // namespace platform
