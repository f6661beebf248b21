#include "framework/platform/sandbox.h"

#include <fcntl.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/fs.h>
#include <linux/landlock.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>

// The sanitizer runtimes' leak check stops the world at exit from a helper process that shares the
// address space and attaches to the threads with ptrace. Test builds with it let exactly that through.
#if defined(__SANITIZE_ADDRESS__)
#define KP_LEAK_CHECKER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(leak_sanitizer)
#define KP_LEAK_CHECKER 1
#endif
#endif

namespace platform {

namespace {

// ---- the system-call filter ------------------------------------------------------------------------

#if defined(__x86_64__) && !defined(__ILP32__)
constexpr uint32_t kNativeArch = AUDIT_ARCH_X86_64;
#define KP_FILTER_ARCH 1
#elif defined(__aarch64__)
constexpr uint32_t kNativeArch = AUDIT_ARCH_AARCH64;
#define KP_FILTER_ARCH 1
#endif

#ifdef KP_FILTER_ARCH

// Refused with EPERM. Everything else the agent and its libraries do stays allowed: a deny list keeps
// the filter independent of which calls libX11, the C library or a sanitizer runtime happen to make.
constexpr long kRefused[] = {
    // starting programs and processes; clone is looked at below
    SYS_execve, SYS_execveat,
#ifdef SYS_fork
    SYS_fork,
#endif
#ifdef SYS_vfork
    SYS_vfork,
#endif
    // other processes and their memory
    SYS_process_vm_readv, SYS_process_vm_writev,
#ifndef KP_LEAK_CHECKER
    SYS_ptrace,
#endif
    // mounts, namespaces, the execution domain
    SYS_mount, SYS_umount2,
#ifdef SYS_umount
    SYS_umount,
#endif
    SYS_pivot_root, SYS_move_mount, SYS_open_tree, SYS_fsopen, SYS_fsconfig, SYS_fsmount, SYS_fspick,
    SYS_mount_setattr, SYS_unshare, SYS_setns, SYS_personality,
    // code into the kernel and kernel interfaces nobody here needs
    SYS_init_module, SYS_finit_module, SYS_delete_module, SYS_kexec_load,
#ifdef SYS_kexec_file_load
    SYS_kexec_file_load,
#endif
    SYS_bpf, SYS_perf_event_open, SYS_add_key, SYS_request_key, SYS_keyctl, SYS_userfaultfd,
    // modes, owners, extended attributes (where security labels and capabilities live) and times of
    // files: the rules below guard entries and contents only, and the agent changes none of these
    __NR_fchmod, __NR_fchmodat, __NR_fchown, __NR_fchownat, __NR_setxattr, __NR_lsetxattr, __NR_fsetxattr,
    __NR_removexattr, __NR_lremovexattr, __NR_fremovexattr,
#ifdef __NR_chmod
    __NR_chmod,
#endif
#ifdef __NR_chown
    __NR_chown,
#endif
#ifdef __NR_lchown
    __NR_lchown,
#endif
#ifdef __NR_utimes
    __NR_utimes,
#endif
#ifdef __NR_futimesat
    __NR_futimesat,
#endif
#ifdef __NR_utime
    __NR_utime,
#endif
#ifdef __NR_fchmodat2
    __NR_fchmodat2,
#endif
#ifdef __NR_setxattrat
    __NR_setxattrat,
#endif
#ifdef __NR_removexattrat
    __NR_removexattrat,
#endif
#ifdef __NR_file_setattr
    __NR_file_setattr,
#endif
    __NR_utimensat};

// The newest call these headers number. Calls numbered after it, fchmodat2 and the *xattrat calls among
// them when the headers predate those, are answered ENOSYS as by a kernel that lacks them: a library
// falls back as it must on such a kernel. From 424 on every architecture numbers its calls alike, so one
// chain of names serves them all.
#if defined(__NR_file_setattr)
#define KP_NEWEST_CALL __NR_file_setattr
#elif defined(__NR_removexattrat)
#define KP_NEWEST_CALL __NR_removexattrat
#elif defined(__NR_mseal)
#define KP_NEWEST_CALL __NR_mseal
#elif defined(__NR_fchmodat2)
#define KP_NEWEST_CALL __NR_fchmodat2
#elif defined(__NR_set_mempolicy_home_node)
#define KP_NEWEST_CALL __NR_set_mempolicy_home_node
#endif

constexpr uint32_t kAllow = SECCOMP_RET_ALLOW;
constexpr uint32_t kKill = SECCOMP_RET_KILL_PROCESS;
constexpr uint32_t kEperm = SECCOMP_RET_ERRNO | (EPERM & SECCOMP_RET_DATA);
constexpr uint32_t kEnosys = SECCOMP_RET_ERRNO | (ENOSYS & SECCOMP_RET_DATA);

constexpr uint32_t kArchOffset = offsetof(seccomp_data, arch);
constexpr uint32_t kNrOffset = offsetof(seccomp_data, nr);
// The low half of a system call's argument: clone's flags that matter, ioctl's request (an int).
constexpr uint32_t LowHalf(int argument) {
    return offsetof(seccomp_data, args) + 8 * argument + (__BYTE_ORDER__ == __ORDER_BIG_ENDIAN__ ? 4 : 0);
}

// The program is built in place: in a process that runs once per session, every heap page counts.
struct FilterProgram {
    sock_filter code[2 * std::size(kRefused) + 32];
    unsigned short size = 0;

    void Statement(uint16_t op, uint32_t k) { code[size++] = sock_filter{op, 0, 0, k}; }
    void Jump(uint16_t op, uint32_t k, uint8_t ifTrue, uint8_t ifFalse) {
        code[size++] = sock_filter{op, ifTrue, ifFalse, k};
    }
};

bool InstallFilter() {
    FilterProgram p;
    p.Statement(BPF_LD | BPF_W | BPF_ABS, kArchOffset);
    p.Jump(BPF_JMP | BPF_JEQ | BPF_K, kNativeArch, 1, 0);
    p.Statement(BPF_RET | BPF_K, kKill);
    p.Statement(BPF_LD | BPF_W | BPF_ABS, kNrOffset);
#if defined(__x86_64__)
    // The x32 calls share the architecture value and are told apart by this bit of the number.
    p.Jump(BPF_JMP | BPF_JSET | BPF_K, 0x40000000u, 0, 1);
    p.Statement(BPF_RET | BPF_K, kKill);
#endif
#ifdef KP_NEWEST_CALL
    p.Jump(BPF_JMP | BPF_JGT | BPF_K, KP_NEWEST_CALL, 0, 1);
    p.Statement(BPF_RET | BPF_K, kEnosys);
#endif
    for (long nr : kRefused) {
        p.Jump(BPF_JMP | BPF_JEQ | BPF_K, static_cast<uint32_t>(nr), 0, 1);
        p.Statement(BPF_RET | BPF_K, kEperm);
    }
    // ioctl: the requests that set a file's attribute flags (no-dump, no-atime, project and the like)
    // need only a file open for reading; the agent sets none.
    p.Jump(BPF_JMP | BPF_JEQ | BPF_K, SYS_ioctl, 0, 6);
    p.Statement(BPF_LD | BPF_W | BPF_ABS, LowHalf(1));
    p.Jump(BPF_JMP | BPF_JEQ | BPF_K, FS_IOC_SETFLAGS, 2, 0);
    p.Jump(BPF_JMP | BPF_JEQ | BPF_K, FS_IOC32_SETFLAGS, 1, 0);
    p.Jump(BPF_JMP | BPF_JEQ | BPF_K, FS_IOC_FSSETXATTR, 0, 1);
    p.Statement(BPF_RET | BPF_K, kEperm);
    p.Statement(BPF_RET | BPF_K, kAllow);
    // clone3 passes its flags in memory the filter cannot read. It is refused as unknown to the kernel,
    // so that the C library creates its threads through clone, whose flags are in a register.
    p.Jump(BPF_JMP | BPF_JEQ | BPF_K, SYS_clone3, 0, 1);
    p.Statement(BPF_RET | BPF_K, kEnosys);
    // clone: threads only (CLONE_THREAD); a new process is refused.
    p.Jump(BPF_JMP | BPF_JEQ | BPF_K, SYS_clone, 1, 0);
    p.Statement(BPF_RET | BPF_K, kAllow);
    p.Statement(BPF_LD | BPF_W | BPF_ABS, LowHalf(0));
    p.Jump(BPF_JMP | BPF_JSET | BPF_K, CLONE_THREAD, 0, 1);
    p.Statement(BPF_RET | BPF_K, kAllow);
#ifdef KP_LEAK_CHECKER
    constexpr uint32_t kLeakCheckHelper = CLONE_VM | CLONE_UNTRACED;
    p.Statement(BPF_ALU | BPF_AND | BPF_K, kLeakCheckHelper);
    p.Jump(BPF_JMP | BPF_JEQ | BPF_K, kLeakCheckHelper, 0, 1);
    p.Statement(BPF_RET | BPF_K, kAllow);
#endif
    p.Statement(BPF_RET | BPF_K, kEperm);
    sock_fprog program{p.size, p.code};
    return syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, 0, &program) == 0;
}

#else

bool InstallFilter() {
    return false; // no filter written for this processor's system-call numbers
}

#endif

// ---- the file-system rules -------------------------------------------------------------------------

#if defined(SYS_landlock_create_ruleset) && defined(SYS_landlock_add_rule) &&                                \
    defined(SYS_landlock_restrict_self)

// Rights, rule types and attributes younger than the installed kernel headers may be; the values are
// fixed for good.
constexpr uint64_t kRefer = 1ULL << 13;
constexpr uint64_t kTruncate = 1ULL << 14;
constexpr uint64_t kIoctlDev = 1ULL << 15;
constexpr uint64_t kBindTcp = 1ULL << 0, kConnectTcp = 1ULL << 1; // from ABI 4
constexpr uint64_t kScopeSignal = 1ULL << 1;                      // from ABI 6
constexpr int kRuleNetPort = 2;

struct RulesetAttributes {
    uint64_t fileSystem;
    uint64_t network; // read from ABI 4 on
    uint64_t scoped;  // read from ABI 6 on
};

struct NetPortRule {
    uint64_t allowed;
    uint64_t port;
};

// The TCP ports of X displays 0 to 999. The agent serves nothing over TCP and talks to its file server
// over UDP, which the rules leave alone.
constexpr uint64_t kFirstDisplayPort = 6000, kDisplayPortsEnd = 7000;

// Every file-system right the rules decide, by the first ABI version that knows it. Rights added after
// these stay outside the rules: one of them might govern something the agent does (such as reaching a
// display's socket) and would then be refused.
uint64_t HandledRights(long abi) {
    uint64_t rights =
        LANDLOCK_ACCESS_FS_EXECUTE | LANDLOCK_ACCESS_FS_WRITE_FILE | LANDLOCK_ACCESS_FS_READ_FILE |
        LANDLOCK_ACCESS_FS_READ_DIR | LANDLOCK_ACCESS_FS_REMOVE_DIR | LANDLOCK_ACCESS_FS_REMOVE_FILE |
        LANDLOCK_ACCESS_FS_MAKE_CHAR | LANDLOCK_ACCESS_FS_MAKE_DIR | LANDLOCK_ACCESS_FS_MAKE_REG |
        LANDLOCK_ACCESS_FS_MAKE_SOCK | LANDLOCK_ACCESS_FS_MAKE_FIFO | LANDLOCK_ACCESS_FS_MAKE_BLOCK |
        LANDLOCK_ACCESS_FS_MAKE_SYM;
    if (abi >= 2)
        rights |= kRefer; // linking and renaming across directories
    if (abi >= 3)
        rights |= kTruncate;
    if (abi >= 5)
        rights |= kIoctlDev;
    return rights;
}

struct FileDescriptor {
    int fd;
    explicit FileDescriptor(int value) : fd(value) {}
    ~FileDescriptor() {
        if (fd >= 0)
            close(fd);
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
};

bool AllowBeneath(int ruleset, const char* directory, uint64_t rights) {
    FileDescriptor dir(open(directory, O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (dir.fd < 0)
        return false;
    landlock_path_beneath_attr rule{rights, dir.fd};
    return syscall(SYS_landlock_add_rule, ruleset, LANDLOCK_RULE_PATH_BENEATH, &rule, 0) == 0;
}

// Making and removing entries in the directory that holds the link: the path up to its last slash.
bool AllowLinkDirectory(int ruleset, const char* linkPath) {
    char dir[PATH_MAX] = ".";
    if (const char* slash = std::strrchr(linkPath, '/')) {
        size_t length = slash == linkPath ? 1 : static_cast<size_t>(slash - linkPath);
        if (length >= sizeof dir)
            return false;
        std::memcpy(dir, linkPath, length);
        dir[length] = 0;
    }
    return AllowBeneath(ruleset, dir, LANDLOCK_ACCESS_FS_MAKE_SYM | LANDLOCK_ACCESS_FS_REMOVE_FILE);
}

bool RestrictFileSystem(const char* linkPath) {
    long abi = syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION);
    if (abi < 1)
        return false;
    // Signals reach this process only; connections to abstract Unix sockets stay unscoped, since that is
    // how displays on this machine are reached.
    const RulesetAttributes attr{HandledRights(abi), abi >= 4 ? kBindTcp | kConnectTcp : 0,
                                 abi >= 6 ? kScopeSignal : 0};
    const size_t size = sizeof(uint64_t) * (abi >= 6 ? 3 : abi >= 4 ? 2 : 1);
    FileDescriptor ruleset(static_cast<int>(syscall(SYS_landlock_create_ruleset, &attr, size, 0)));
    if (ruleset.fd < 0)
        return false;
    if (!AllowBeneath(ruleset.fd, "/", LANDLOCK_ACCESS_FS_READ_FILE | LANDLOCK_ACCESS_FS_READ_DIR))
        return false;
    for (uint64_t port = kFirstDisplayPort; attr.network != 0 && port < kDisplayPortsEnd; ++port) {
        const NetPortRule rule{kConnectTcp, port};
        if (syscall(SYS_landlock_add_rule, ruleset.fd, kRuleNetPort, &rule, 0) != 0)
            return false;
    }
    // Without its directory (not there yet, not reachable) the link cannot be made or removed: the rest
    // of the rules still hold.
    (void)AllowLinkDirectory(ruleset.fd, linkPath);
    return syscall(SYS_landlock_restrict_self, ruleset.fd, 0) == 0;
}

#else

bool RestrictFileSystem(const char*) {
    return false;
}

#endif

} // namespace

Confinement Confine(const char* linkPath) {
    Confinement done;
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0)
        return done;
    done.fileSystem = RestrictFileSystem(linkPath);
    done.filter = InstallFilter();
    return done;
}

} // namespace platform
