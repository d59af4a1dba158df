#pragma once

#include <chrono>
#include <csignal>
#include <functional>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace zeph {

// Runs `work` in a child process that is killed with SIGKILL `delay` after it says it is ready:
// `start` runs first, then the child tells the parent, then `loop` runs until the kill. So every
// kill lands inside the loop, however slow the build makes the start. False when there was no
// child to run.
inline bool killWhileRunning(const std::function<bool()>& start, const std::function<void()>& loop,
    std::chrono::microseconds delay)
{
    int ready[2];
    if (pipe(ready) != 0)
        return false;
    pid_t child = fork();
    if (child < 0)
        return false;
    if (child == 0) {
        close(ready[0]);
        if (!start())
            _exit(1);
        (void)!write(ready[1], "x", 1);
        for (;;)
            loop();
    }
    close(ready[1]);
    char byte = 0;
    bool isReady = read(ready[0], &byte, 1) == 1;
    close(ready[0]);
    if (isReady)
        std::this_thread::sleep_for(delay);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    return isReady;
}

} // namespace zeph
