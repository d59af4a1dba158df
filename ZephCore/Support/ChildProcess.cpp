#include "Support/ChildProcess.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace zeph::ChildProcess {

namespace {

using Clock = std::chrono::steady_clock;

// A child that exits can leave a background process of its own holding the pipes open for ever;
// what that one writes is waited for this long after the child itself has exited.
constexpr auto drainTime = std::chrono::seconds(1);
// Without a process descriptor to wait on, how often the child is asked whether it has exited.
constexpr auto exitPollInterval = std::chrono::milliseconds(5);

// A descriptor that closes itself.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int descriptor)
        : m_descriptor(descriptor)
    {
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { close(); }

    int get() const { return m_descriptor; }
    bool isOpen() const { return m_descriptor >= 0; }
    void close()
    {
        if (m_descriptor >= 0)
            ::close(m_descriptor);
        m_descriptor = -1;
    }
    void reset(int descriptor)
    {
        close();
        m_descriptor = descriptor;
    }

private:
    int m_descriptor = -1;
};

struct Pipe {
    Descriptor read;
    Descriptor write;

    // Both ends close on exec, so that no other child started meanwhile inherits them.
    bool open()
    {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0)
            return false;
        read.reset(ends[0]);
        write.reset(ends[1]);
        return true;
    }
};

class SpawnSettings {
public:
    SpawnSettings()
    {
        posix_spawn_file_actions_init(&actions);
        posix_spawnattr_init(&attributes);
    }
    SpawnSettings(const SpawnSettings&) = delete;
    SpawnSettings& operator=(const SpawnSettings&) = delete;
    ~SpawnSettings()
    {
        posix_spawn_file_actions_destroy(&actions);
        posix_spawnattr_destroy(&attributes);
    }

    posix_spawn_file_actions_t actions {};
    posix_spawnattr_t attributes {};
};

std::vector<char*> pointers(const std::string* first, const std::vector<std::string>& strings)
{
    std::vector<char*> result;
    result.reserve(strings.size() + 2);
    if (first)
        result.push_back(const_cast<char*>(first->c_str()));
    for (auto& string : strings)
        result.push_back(const_cast<char*>(string.c_str()));
    result.push_back(nullptr);
    return result;
}

// Writing to a pipe whose reader is gone fails with EPIPE here rather than killing the caller's
// whole process with SIGPIPE: the signal is blocked in this thread for the write and taken back.
ssize_t writeWithoutBrokenPipeSignal(int descriptor, const char* data, std::size_t size)
{
    sigset_t brokenPipe;
    sigemptyset(&brokenPipe);
    sigaddset(&brokenPipe, SIGPIPE);
    sigset_t pending;
    sigpending(&pending);
    bool wasPending = sigismember(&pending, SIGPIPE) == 1;
    sigset_t previous;
    pthread_sigmask(SIG_BLOCK, &brokenPipe, &previous);
    auto written = ::write(descriptor, data, size);
    int error = errno;
    if (written < 0 && error == EPIPE && !wasPending) {
        timespec noWait {};
        sigtimedwait(&brokenPipe, nullptr, &noWait);
    }
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    errno = error;
    return written;
}

// Reads what is there now; closes the descriptor at end of file or on an error.
void readAvailable(Descriptor& descriptor, std::string& collected)
{
    std::array<char, 65536> buffer;
    auto count = ::read(descriptor.get(), buffer.data(), buffer.size());
    if (count > 0)
        collected.append(buffer.data(), static_cast<std::size_t>(count));
    else if (count == 0 || (errno != EINTR && errno != EAGAIN))
        descriptor.close();
}

int processDescriptor(pid_t child)
{
#ifdef SYS_pidfd_open
    return static_cast<int>(syscall(SYS_pidfd_open, child, 0));
#else
    (void)child;
    return -1;
#endif
}

int terminationStatus(int waitStatus)
{
    if (WIFEXITED(waitStatus))
        return WEXITSTATUS(waitStatus);
    if (WIFSIGNALED(waitStatus))
        return WTERMSIG(waitStatus);
    return -1;
}

// Milliseconds from now until `moment` for poll, rounded up so that the moment has passed on wake.
int millisecondsUntil(Clock::time_point moment)
{
    auto left = std::chrono::ceil<std::chrono::milliseconds>(moment - Clock::now()).count();
    return static_cast<int>(std::clamp<decltype(left)>(left, 0, 60'000));
}

class Run {
public:
    explicit Run(const Request& request)
        : m_request(request)
    {
    }

    Outcome perform()
    {
        if (auto error = launch()) {
            m_outcome.launchError = error;
            return std::move(m_outcome);
        }
        m_processDescriptor.reset(processDescriptor(m_child));
        auto start = Clock::now();
        if (!(m_request.timeout.count() > 0))
            m_deadline = start;
        else if (m_request.timeout < Seconds(1e9))
            m_deadline = start + std::chrono::duration_cast<Clock::duration>(m_request.timeout);
        while (step()) { }
        if (!m_hasExited)
            reap(0);
        return std::move(m_outcome);
    }

private:
    // Returns the launch's errno, or zero.
    int launch()
    {
        SpawnSettings settings;
        auto* actions = &settings.actions;
        if (m_request.standardInput) {
            if (!m_input.open())
                return errno;
            posix_spawn_file_actions_adddup2(actions, m_input.read.get(), STDIN_FILENO);
            m_pendingInput = *m_request.standardInput;
        } else {
            posix_spawn_file_actions_addopen(actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        }
        if (m_request.collectsOutput) {
            if (!m_output.open() || !m_errors.open())
                return errno;
            posix_spawn_file_actions_adddup2(actions, m_output.write.get(), STDOUT_FILENO);
            posix_spawn_file_actions_adddup2(actions, m_errors.write.get(), STDERR_FILENO);
        } else {
            posix_spawn_file_actions_addopen(actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
            posix_spawn_file_actions_addopen(actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
        }
        if (m_request.workingDirectory)
            posix_spawn_file_actions_addchdir_np(actions, m_request.workingDirectory->c_str());
        // Whatever else the host has open, without close-on-exec, stays with the host.
        posix_spawn_file_actions_addclosefrom_np(actions, STDERR_FILENO + 1);

        // The child starts with no blocked signals and default dispositions, whatever the host's.
        sigset_t noSignals;
        sigemptyset(&noSignals);
        sigset_t allSignals;
        sigfillset(&allSignals);
        posix_spawnattr_setsigmask(&settings.attributes, &noSignals);
        posix_spawnattr_setsigdefault(&settings.attributes, &allSignals);
        posix_spawnattr_setflags(&settings.attributes,
            static_cast<short>(POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF));

        auto argv = pointers(&m_request.executable, m_request.arguments);
        auto envp = pointers(nullptr, m_request.environment);
        int error = m_request.searchesPath
            ? posix_spawnp(&m_child, m_request.executable.c_str(), actions, &settings.attributes,
                argv.data(), envp.data())
            : posix_spawn(&m_child, m_request.executable.c_str(), actions, &settings.attributes,
                argv.data(), envp.data());
        // The child's ends belong to the child alone, so that end of file comes when it is done.
        m_input.read.close();
        m_output.write.close();
        m_errors.write.close();
        if (error == 0 && m_input.write.isOpen())
            fcntl(m_input.write.get(), F_SETFL, O_NONBLOCK);
        return error;
    }

    // One wait for whatever happens next; false when the run is over.
    bool step()
    {
        if (!m_hasExited && !m_processDescriptor.isOpen())
            reap(WNOHANG);
        if (m_hasExited) {
            m_input.write.close();
            if ((!m_output.read.isOpen() && !m_errors.read.isOpen())
                || Clock::now() >= m_drainDeadline)
                return false;
        }
        std::array<pollfd, 4> watched {};
        std::size_t count = 0;
        auto watch = [&](const Descriptor& descriptor, short events) {
            if (descriptor.isOpen())
                watched[count++] = { .fd = descriptor.get(), .events = events, .revents = 0 };
        };
        watch(m_output.read, POLLIN);
        watch(m_errors.read, POLLIN);
        watch(m_input.write, POLLOUT);
        if (!m_hasExited)
            watch(m_processDescriptor, POLLIN);

        int wait = -1;
        if (m_hasExited)
            wait = millisecondsUntil(m_drainDeadline);
        else if (!m_outcome.timedOut && m_deadline)
            wait = millisecondsUntil(*m_deadline);
        if (!m_hasExited && !m_processDescriptor.isOpen()) {
            auto interval = static_cast<int>(exitPollInterval.count());
            wait = wait < 0 ? interval : std::min(wait, interval);
        }
        if (poll(watched.data(), count, wait) < 0 && errno != EINTR)
            return false;

        for (std::size_t index = 0; index < count; ++index) {
            auto& entry = watched[index];
            if (entry.revents == 0)
                continue;
            if (entry.fd == m_output.read.get())
                readAvailable(m_output.read, m_outcome.out);
            else if (entry.fd == m_errors.read.get())
                readAvailable(m_errors.read, m_outcome.err);
            else if (entry.fd == m_input.write.get())
                writeInput();
            else if (entry.fd == m_processDescriptor.get())
                reap(0);
        }
        if (!m_hasExited && !m_outcome.timedOut && m_deadline && Clock::now() >= *m_deadline) {
            // The polite signal only: a child that ignores it keeps the run open.
            m_outcome.timedOut = true;
            kill(m_child, SIGTERM);
        }
        return true;
    }

    void writeInput()
    {
        auto written = writeWithoutBrokenPipeSignal(
            m_input.write.get(), m_pendingInput.data(), m_pendingInput.size());
        if (written > 0)
            m_pendingInput.remove_prefix(static_cast<std::size_t>(written));
        if (m_pendingInput.empty() || (written < 0 && errno != EAGAIN && errno != EINTR))
            m_input.write.close();
    }

    void reap(int options)
    {
        int waitStatus = 0;
        pid_t reaped;
        do
            reaped = waitpid(m_child, &waitStatus, options);
        while (reaped < 0 && errno == EINTR);
        if (reaped == 0)
            return;
        m_hasExited = true;
        m_outcome.status = reaped == m_child ? terminationStatus(waitStatus) : -1;
        m_drainDeadline = Clock::now() + drainTime;
        m_processDescriptor.close();
    }

    const Request& m_request;
    Outcome m_outcome;
    Pipe m_input;
    Pipe m_output;
    Pipe m_errors;
    std::string_view m_pendingInput;
    Descriptor m_processDescriptor;
    pid_t m_child = -1;
    bool m_hasExited = false;
    std::optional<Clock::time_point> m_deadline;
    Clock::time_point m_drainDeadline {};
};

} // namespace

Outcome run(const Request& request)
{
    return Run(request).perform();
}

std::vector<std::string> currentEnvironment()
{
    std::vector<std::string> entries;
    for (char** entry = environ; entry && *entry; ++entry)
        entries.emplace_back(*entry);
    return entries;
}

} // namespace zeph::ChildProcess
