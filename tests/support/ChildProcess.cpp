#include "ChildProcess.h"

#include <QDeadlineTimer>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <vector>

static constexpr int kEndWaitMs = 20000;

ChildProcess::ChildProcess(const QString &program, const QStringList &arguments, End end)
    : m_program(program)
    , m_end(end)
{
    std::array<int, 2> input{};
    std::array<int, 2> output{};
    if (pipe2(input.data(), O_CLOEXEC) != 0 || pipe2(output.data(), O_CLOEXEC) != 0)
        qFatal("ChildProcess: no pipe");
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
    if (m_end == End::InOrder && m_status != 0)
        qFatal("%s did not end in order: wait status %d", qPrintable(m_program), m_status);
}

bool ChildProcess::hasEnded(int waitMs)
{
    const QDeadlineTimer deadline(waitMs);
    while (!m_hasEnded && waitpid(m_pid, &m_status, WNOHANG) == 0) {
        if (deadline.hasExpired())
            return false;
        usleep(5000);
    }
    m_hasEnded = true;
    return true;
}

void ChildProcess::writeLine(const QByteArray &line)
{
    const QByteArray bytes = line + '\n';
    if (write(m_input, bytes.constData(), size_t(bytes.size())) != bytes.size())
        qFatal("%s takes no input", qPrintable(m_program));
}

std::optional<QByteArray> ChildProcess::readLine(int timeoutMs)
{
    const QDeadlineTimer deadline(timeoutMs);
    std::array<char, 4096> buffer{};
    while (!m_read.contains('\n')) {
        pollfd waiting{m_output, POLLIN, 0};
        const bool hasMore = poll(&waiting, 1, int(deadline.remainingTime())) > 0;
        const ssize_t count = hasMore ? read(m_output, buffer.data(), buffer.size()) : 0;
        if (count <= 0)
            return std::nullopt;
        m_read.append(buffer.data(), count);
    }
    const QByteArray line = m_read.first(m_read.indexOf('\n'));
    m_read.remove(0, line.size() + 1);
    return line;
}
