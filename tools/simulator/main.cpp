#include "command.h"
#include "control_input.h"
#include "mocked_machine.h"
#include "options.h"
#include "simulation.h"
#include "termination_signals.h"

#include <QCoreApplication>
#include <QFile>

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

int simulate(const Options &options)
{
    Simulation simulation(options);
    ControlInput input;
    TerminationSignals signalsToPass;
    Command command(options.command);

    QObject::connect(&input, &ControlInput::lineRead, &input, [&simulation](const QString &line) {
        const QString problem = simulation.control(line);
        if (!problem.isEmpty())
            complain(problem);
    });
    QObject::connect(&signalsToPass, &TerminationSignals::caught, &command, &Command::sendSignal);
    QObject::connect(&command, &Command::ended, &command,
                     [](int exitCode, const QString &errorText) {
                         if (!errorText.isEmpty())
                             complain(errorText);
                         QCoreApplication::exit(exitCode);
                     });
    // Started from within the loop: an exit() before exec() would be forgotten.
    QMetaObject::invokeMethod(&command, &Command::start, Qt::QueuedConnection);
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
