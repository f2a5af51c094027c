#include "ChildProcess.h"

#include <QElapsedTimer>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <ctime>
#include <vector>

namespace {

constexpr int kEndWaitMs = 20000;
constexpr int kPollMs = 5;

std::array<int, 2> makePipe()
{
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
        qFatal("ChildProcess: no pipe");
    return ends;
}

} // namespace

ChildProcess::ChildProcess(const QString &program, const QStringList &arguments, End end)
    : m_program(program)
    , m_end(end)
{
    const auto input = makePipe();
    const auto output = makePipe();
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);

    QByteArrayList words{program.toLocal8Bit()};
    for (const QString &argument : arguments)
        words.append(argument.toLocal8Bit());
    std::vector<char *> argv;
    for (QByteArray &word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    const int error = posix_spawnp(&m_pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0)
        qFatal("%s did not start: %s", argv[0], qPrintable(qt_error_string(error)));

    close(input[0]);
    close(output[1]);
    m_input = input[1];
    m_output = output[0];
}

ChildProcess::~ChildProcess()
{
    if (!m_hasEnded)
        kill(m_pid, SIGTERM);
    if (!hasEnded(kEndWaitMs)) {
        kill(m_pid, SIGKILL);
        hasEnded(kEndWaitMs);
    }
    close(m_input);
    close(m_output);
    if (m_end == End::InOrder && (!WIFEXITED(m_status) || WEXITSTATUS(m_status) != 0))
        qFatal("%s did not end in order: wait status %d", qPrintable(m_program), m_status);
}

bool ChildProcess::hasEnded(int waitMs)
{
    QElapsedTimer clock;
    clock.start();
    while (!m_hasEnded && waitpid(m_pid, &m_status, WNOHANG) == 0) {
        if (clock.elapsed() > waitMs)
            return false;
        const timespec pause{0, kPollMs * 1000 * 1000};
        nanosleep(&pause, nullptr);
    }
    m_hasEnded = true;
    return true;
}

bool ChildProcess::succeeds(int timeoutMs)
{
    return hasEnded(timeoutMs) && WIFEXITED(m_status) && WEXITSTATUS(m_status) == 0;
}

std::optional<QByteArray> ChildProcess::readLine(int timeoutMs)
{
    QElapsedTimer clock;
    clock.start();
    while (!m_read.contains('\n')) {
        pollfd waiting{m_output, POLLIN, 0};
        const int left = std::max(timeoutMs - int(clock.elapsed()), 0);
        std::array<char, 4096> buffer{};
        if (poll(&waiting, 1, left) <= 0)
            return std::nullopt;
        const ssize_t count = read(m_output, buffer.data(), buffer.size());
        if (count <= 0)
            return std::nullopt;
        m_read.append(buffer.data(), count);
    }
    const qsizetype end = m_read.indexOf('\n');
    const QByteArray line = m_read.first(end);
    m_read.remove(0, end + 1);
    return line;
}
