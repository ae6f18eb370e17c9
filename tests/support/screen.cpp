#include "screen.h"

#include <QCoreApplication>

#include <csignal>
#include <sys/prctl.h>

namespace {

QStringList search(const QString &title)
{
    return {"search", "--onlyvisible", "--name", '^' + title + '$'};
}

} // namespace

Screen::Screen()
{
    // Without -noreset it forgets the resolution as soon as its last client has gone. The number
    // is its own: it also names the file of the keyboard's map, which a server of the same number
    // would spoil, even in another network.
    m_server.start("Xvfb",
                   {':' + QString::number(QCoreApplication::applicationPid()), "-displayfd", "1",
                    "-screen", "0", "1600x1200x24", "-noreset", "-nolisten", "tcp"});
    while (m_server.waitForReadyRead() && !m_server.canReadLine()) {
    }
    const QByteArray number = m_server.readLine().trimmed();
    if (number.isEmpty())
        qFatal("Xvfb: %s %s", qPrintable(m_server.errorString()),
               m_server.readAllStandardError().constData());
    m_display = ':' + QString::fromLatin1(number);
}

Screen::~Screen()
{
    m_server.terminate();
    m_server.waitForFinished();
}

QProcessEnvironment Screen::environment() const
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("DISPLAY", m_display);
    environment.insert("QT_QPA_PLATFORM", "xcb");
    // The program draws without OpenGL; on some processors, Mesa's driver leaks what it has found
    // out about them.
    environment.insert("QT_XCB_GL_INTEGRATION", "none");
    return environment;
}

void Screen::setResolution(int dotsPerInch) const
{
    const QByteArray resource = "Xft.dpi: " + QByteArray::number(dotsPerInch) + '\n';
    if (!run("xrdb", {"-nocpp", "-load", "-"}, resource))
        qFatal("xrdb cannot set the resolution");
}

bool Screen::shows(const QString &title) const
{
    return run("xdotool", search(title));
}

bool Screen::click(const QString &title, const QPoint &place) const
{
    return run("xdotool",
               search(title)
                   + QStringList {"mousemove", "--window", "%1", QString::number(place.x()),
                                  QString::number(place.y()), "click", "1"});
}

bool Screen::press(const QString &keys) const
{
    return run("xdotool", {"key", keys});
}

void Screen::Server::setupChildProcess()
{
    prctl(PR_SET_PDEATHSIG, SIGTERM);
}

bool Screen::run(const QString &program, const QStringList &arguments,
                 const QByteArray &input) const
{
    QProcess process;
    process.setProcessEnvironment(environment());
    process.start(program, arguments);
    process.write(input);
    process.closeWriteChannel();
    if (!process.waitForFinished())
        qFatal("%s: %s", qPrintable(program), qPrintable(process.errorString()));
    return process.exitCode() == 0;
}
