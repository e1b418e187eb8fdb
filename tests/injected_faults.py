"""Makes system calls of a program fail, by strace's injection of faults, in several workers at the same time."""
import collections
import ctypes
import re
import signal
import subprocess
import sys

SKIPPED = 77  # the exit status of a test that the machine does not permit
KILL = "KILL"
PR_SET_PDEATHSIG = 1
PR_SET_CHILD_SUBREAPER = 36

# The errors that a call can return. Other calls return EPERM, as under a filter of system calls.
ERRORS = {
    "access": ("EIO", "EACCES"),
    "bind": ("ENOMEM", "EADDRINUSE"),
    "brk": ("ENOMEM",),
    "chdir": ("EACCES", "EIO"),
    "chown": ("EPERM",),
    "clock_nanosleep": ("EINTR",),
    "clone": ("EAGAIN", "ENOMEM"),
    "clone3": ("EAGAIN", "ENOMEM"),
    "close": (),  # strace would leave the descriptor open, which no failing close(2) of Linux does
    "close_range": (),  # cannot fail
    "connect": ("ECONNREFUSED", "EINTR"),
    "dup2": ("EBUSY", "EINTR"),
    "execve": ("EAGAIN", "ENOMEM"),
    "exit_group": (),  # cannot fail
    "fallocate": ("ENOSPC", "EIO", "EINTR"),
    "fchmod": ("EPERM", "EIO"),
    "fchown": ("EPERM", "EIO"),
    "flock": ("EINTR", "ENOLCK"),
    "futex": (),  # wakes nobody here, which cannot fail
    "fstat": ("EIO", "ENOMEM"),
    "fsync": ("EIO", "EINTR"),
    "ftruncate": ("EIO", "EINTR"),
    "getegid": (),  # this call and those like it cannot fail
    "geteuid": (),
    "getpid": (),
    "getppid": (),
    "getrandom": ("ENOSYS",),
    "getsockname": ("ENOBUFS",),
    "getsockopt": ("ENOPROTOOPT",),
    "getuid": (),
    "kill": ("ESRCH", "EPERM"),
    "linkat": ("EIO", "EMLINK"),
    "lseek": ("ESPIPE",),
    "mkdir": ("EACCES", "ENOSPC"),
    "mknodat": ("ENOSPC", "EACCES"),
    "mmap": ("ENOMEM",),
    "mprotect": ("ENOMEM",),
    "mremap": ("ENOMEM",),
    "munmap": ("ENOMEM",),
    "newfstatat": ("EIO", "ENOMEM"),
    "openat": ("EMFILE", "EACCES", "EIO", "EINTR"),  # not ENOENT: a missing file is no failure
    "pipe2": ("EMFILE",),
    "poll": ("EINTR", "ENOMEM"),
    "pread64": ("EIO",),
    "pselect6": ("EINTR", "ENOMEM"),
    "read": ("EIO", "EINTR"),
    "readlink": ("EIO", "EACCES"),
    "recvfrom": ("ENOBUFS", "EINTR"),
    "recvmsg": ("ENOBUFS", "EINTR"),
    "rename": ("ENOSPC", "EIO"),
    "renameat": ("ENOSPC", "EIO", "EBUSY"),
    "renameat2": ("ENOSPC", "EIO", "EINVAL"),
    "rt_sigaction": (),  # cannot fail
    "rt_sigprocmask": (),  # cannot fail
    "sendmsg": ("ENOBUFS", "EINTR"),
    "sendto": ("ENOBUFS", "EINTR"),
    "setgid": ("EAGAIN",),
    "setgroups": ("ENOMEM",),
    "setuid": ("EAGAIN",),
    "signalfd4": ("EMFILE", "ENOMEM"),
    "socket": ("EMFILE",),
    "umask": (),  # cannot fail
    "unlink": ("EIO", "EACCES"),
    "unlinkat": ("EIO", "EACCES"),
    "vfork": ("EAGAIN", "ENOMEM"),
    "wait4": ("EINTR", "ECHILD"),
    "write": ("ENOSPC", "EIO", "EINTR"),
    "writev": ("ENOSPC", "EIO", "EINTR"),
}
MEMORY_CALLS = ("brk", "mmap", "mremap")

Call = collections.namedtuple("Call", "name number line loading")  # `number` counts the calls of this name


def adopt_orphans():
    """Makes this process the parent of what a killed program leaves, and end with its own parent."""
    libc = ctypes.CDLL(None)
    libc.prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0)
    libc.prctl(PR_SET_PDEATHSIG, signal.SIGTERM, 0, 0, 0)


def list_calls(trace):
    """The calls of a trace. The dynamic loader makes those up to the query of RLIMIT_STACK.

    With several processes, a line starts with the process ID. strace counts the calls of each process, so of two calls
    with the same name and number, only the first is in the list: a fault is injected into both.
    """
    calls = {}
    numbers = collections.Counter()
    start = next((i for i, line in enumerate(trace) if "RLIMIT_STACK" in line), -1)
    for i, line in enumerate(trace):
        if match := re.match(r"(\d+ +)?(\w+)\(", line):
            process, name = match.groups()
            numbers[process, name] += 1
            number = numbers[process, name]
            calls.setdefault((name, number), Call(name, number, line[len(process or ""):], i <= start))
    return list(calls.values())


def faults(call):
    """What to inject into a call. One error is enough for the loader: nothing has happened yet."""
    # strace itself makes the first call. The query of the break cannot fail.
    if call.loading and call.name == "execve" or call.line.startswith("brk(NULL)"):
        errors = ()
    else:
        errors = ERRORS.get(call.name, ("EPERM",))
    return errors[:1] if call.loading else (KILL, *errors)


def injection(call, fault):
    """strace's options for one fault."""
    # brk(2) fails by returning a break that is below the requested one.
    effect = "signal=KILL" if fault == KILL else "retval=0" if call.name == "brk" else "error=" + fault
    return ["-e", f"inject={call.name}:{effect}:when={call.number}"]


# --- Workers -----------------------------------------------------------------------------------------------------

def is_permitted(command):
    try:
        return subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL).returncode == 0
    except FileNotFoundError:
        return False


def run_workers(script, jobs, root, network=False):
    """Runs a script `jobs` times at once, each with the option --worker and its own file system at `root`.

    A worker prints its findings and then its figures. Returns the sorted findings and the figures of each worker, or
    nothing if strace cannot trace a program on this machine. If the system does not permit namespaces, there is one
    worker. With `network`, each also has a network namespace of its own, and the option --isolated.
    """
    root.mkdir(exist_ok=True)
    prefix = ["unshare", "--map-root-user", "--mount", *["--net"] * network, "sh", "-c",
              'mount -t tmpfs tmpfs "$0" && exec "$@"', root]
    options = ["--isolated"] * network
    if not is_permitted([*prefix, "true"]):
        jobs, prefix, options = 1, [], []
        print("this machine does not permit namespaces: one worker" + ", without network and packet filter" * network)
    if not is_permitted([*prefix, "strace", "-o", "/dev/null", "true"]):
        return None
    workers = [subprocess.Popen([*prefix, sys.executable, script, *sys.argv[1:], "--jobs", str(jobs),
                                 "--worker", str(number), *options], stdout=subprocess.PIPE, text=True)
               for number in range(jobs)]
    outputs = [worker.communicate()[0].splitlines() for worker in workers]
    if any(worker.returncode != 0 for worker in workers):
        sys.exit("a worker has failed")
    findings = sorted(line for output in outputs for line in output[:-1])
    return findings, [[int(figure) for figure in output[-1].split()] for output in outputs]
