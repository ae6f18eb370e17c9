#include "control_input.h"
#include "mocked_machine.h"
#include "options.h"
#include "simulation.h"
#include "termination_signals.h"

#include <QCoreApplication>
#include <QFile>
#include <QProcess>

#include <csignal>
#include <cstdio>
#include <vector>

#include <unistd.h>

namespace {

const char restartMark[] = "FENNIX_SIMULATOR_RESTARTED";

void complain(const QString &message)
{
    std::fprintf(stderr, "fennix-simulator: %s\n", message.toLocal8Bit().constData());
}

/** Starts this program anew under umockdev-wrapper; returns only when that fails. */
int restartUnderWrapper(char *argv[])
{
    // Without a preload even under the wrapper, trying again would never end.
    if (qEnvironmentVariableIsSet(restartMark)) {
        complain(QStringLiteral("umockdev's preload library does not work"));
        return 1;
    }
    qputenv(restartMark, "1");

    char wrapper[] = "umockdev-wrapper";
    QByteArray self = QFile::encodeName(QCoreApplication::applicationFilePath());
    std::vector<char *> arguments {wrapper, self.data()};
    for (char **argument = argv + 1; *argument != nullptr; ++argument)
        arguments.push_back(*argument);
    arguments.push_back(nullptr);
    ::execvp(wrapper, arguments.data());
    complain(QStringLiteral("umockdev-wrapper not found; install Debian's package umockdev"));
    return 1;
}

/**
 * Gives the command no standard input of its own and this program's output and error. When it
 * ends, so does this program, with the same exit code.
 */
void prepare(QProcess *command, const QStringList &programAndArguments)
{
    command->setProgram(programAndArguments.first());
    command->setArguments(programAndArguments.mid(1));
    command->setProcessChannelMode(QProcess::ForwardedChannels);
    command->setStandardInputFile(QProcess::nullDevice());
    QObject::connect(command, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished),
                     command, [](int exitCode, QProcess::ExitStatus status) {
                         // For a crash, Qt gives the number of the signal as the exit code.
                         constexpr int signalBase = 128;
                         const bool crashed = status == QProcess::CrashExit;
                         QCoreApplication::exit(crashed ? signalBase + exitCode : exitCode);
                     });
    QObject::connect(command, &QProcess::errorOccurred, command,
                     [command](QProcess::ProcessError error) {
                         if (error != QProcess::FailedToStart)
                             return;
                         constexpr int cannotStart = 127;
                         complain(QStringLiteral("cannot start '%1'").arg(command->program()));
                         QCoreApplication::exit(cannotStart);
                     });
}

int simulate(const Options &options)
{
    Simulation simulation(options);
    ControlInput input;
    TerminationSignals signalsToPass;
    QProcess command;
    prepare(&command, options.command);

    QObject::connect(&input, &ControlInput::lineRead, &input, [&simulation](const QString &line) {
        const QString problem = simulation.control(line);
        if (!problem.isEmpty())
            complain(problem);
    });
    QObject::connect(&signalsToPass, &TerminationSignals::caught, &command, [&command](int number) {
        if (command.processId() != 0)
            ::kill(static_cast<pid_t>(command.processId()), number);
    });
    // Started from within the loop: an exit() before exec() would be forgotten.
    QMetaObject::invokeMethod(
        &command, [&command] { command.start(); }, Qt::QueuedConnection);
    return QCoreApplication::exec();
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("fennix-simulator"));
    QCoreApplication::setApplicationVersion(QStringLiteral(FENNIX_VERSION));

    Failure failure;
    const std::optional<Options> options = parseOptions(QCoreApplication::arguments(), &failure);
    if (!options) {
        complain(failure.message);
        return failure.exitCode;
    }
    if (options->ports.isEmpty() && !Simulator::MockedMachine::isPossible(nullptr))
        return restartUnderWrapper(argv);
    qunsetenv(restartMark);
    return simulate(*options);
}
