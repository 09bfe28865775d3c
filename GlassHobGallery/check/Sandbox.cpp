#include "GlassHobGallery/check/Sandbox.h"

#include <fcntl.h>
#include <seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <initializer_list>

namespace glasshob::gallery {

namespace {

bool limit(__rlimit_resource resource, rlim_t value) {
    const rlimit wanted{value, value};
    return setrlimit(resource, &wanted) == 0;
}

} // namespace

bool giveUpRights() {
    bool isGood = limit(RLIMIT_CPU, 60) && limit(RLIMIT_CORE, 0) && limit(RLIMIT_FSIZE, 32'000'000);
#if !__has_feature(address_sanitizer) // which reserves terabytes
    isGood = isGood && limit(RLIMIT_AS, rlim_t(2) << 30);
#endif
    if (!isGood || prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 || prctl(PR_SET_DUMPABLE, 0, 0, 0, 0) != 0) return false;

    // Whatever is not named fails with EPERM, so that a library that looks for something finds nothing and goes on.
    const scmp_filter_ctx filter = seccomp_init(SCMP_ACT_ERRNO(EPERM));
    if (!filter) return false;
    for (const int call :
         {SCMP_SYS(read),          SCMP_SYS(pread64),        SCMP_SYS(write),        SCMP_SYS(writev),
          SCMP_SYS(lseek),         SCMP_SYS(close),          SCMP_SYS(fstat),        SCMP_SYS(munmap),
          SCMP_SYS(mremap),        SCMP_SYS(madvise),        SCMP_SYS(brk),          SCMP_SYS(futex),
          SCMP_SYS(rt_sigaction),  SCMP_SYS(rt_sigprocmask), SCMP_SYS(rt_sigreturn), SCMP_SYS(sigaltstack),
          SCMP_SYS(clock_gettime), SCMP_SYS(gettimeofday),   SCMP_SYS(getrandom),    SCMP_SYS(sched_getaffinity),
          SCMP_SYS(sched_yield),   SCMP_SYS(getpid),         SCMP_SYS(gettid),       SCMP_SYS(exit),
          SCMP_SYS(exit_group)})
        isGood = isGood && seccomp_rule_add(filter, SCMP_ACT_ALLOW, call, 0) == 0;
    // Of what is open only, no signal but to itself, and no memory that is code.
    isGood = isGood &&
             seccomp_rule_add(filter, SCMP_ACT_ALLOW, SCMP_SYS(mmap), 1,
                              SCMP_A2_64(SCMP_CMP_MASKED_EQ, PROT_EXEC, 0)) == 0 &&
             seccomp_rule_add(filter, SCMP_ACT_ALLOW, SCMP_SYS(mprotect), 1,
                              SCMP_A2_64(SCMP_CMP_MASKED_EQ, PROT_EXEC, 0)) == 0 &&
             seccomp_rule_add(filter, SCMP_ACT_ALLOW, SCMP_SYS(newfstatat), 1,
                              SCMP_A3_64(SCMP_CMP_EQ, AT_EMPTY_PATH, 0)) == 0 &&
             seccomp_rule_add(filter, SCMP_ACT_ALLOW, SCMP_SYS(tgkill), 1,
                              SCMP_A0_64(SCMP_CMP_EQ, scmp_datum_t(getpid()), 0)) == 0 &&
             seccomp_load(filter) == 0;
    seccomp_release(filter);
    return isGood;
}

} // namespace glasshob::gallery
