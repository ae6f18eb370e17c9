#pragma once

#include <QPoint>
#include <QProcess>
#include <QString>

/**
 * A real X server without a monitor, for the processes that are given its name. It has no
 * window manager. Ends with the object.
 */
class Screen
{
public:
    /** Ends the test program (qFatal) when the server does not come up. */
    Screen();
    ~Screen();
    Q_DISABLE_COPY(Screen)

    /** Returns the environment of this process, with this server as the display. */
    QProcessEnvironment environment() const;

    /** Sets the resolution that a desktop would give its programs. */
    void setResolution(int dotsPerInch) const;

    /** Returns whether a window of that title can be seen. */
    bool shows(const QString &title) const;

    /** Clicks at a place in the window of that title; returns false when there is none. */
    bool click(const QString &title, const QPoint &place) const;

    /** Presses keys such as "ctrl+q" where the keyboard's input goes. */
    bool press(const QString &keys) const;

private:
    /** Ends with this process, even where that is killed. */
    class Server : public QProcess
    {
    protected:
        void setupChildProcess() override;
    };

    bool run(const QString &program, const QStringList &arguments,
             const QByteArray &input = QByteArray()) const;

    Server m_server;
    QString m_display;
};
