#pragma once

#include "mainwindow.h"

#include <QDir>

#include <functional>

/**
 * The real window, worked with the mouse and the keyboard, and its pictures. The
 * program ends with a message (qFatal) when something is not there to be worked
 * or does not happen within a minute.
 */
class WindowDriver
{
public:
    explicit WindowDriver(const QDir &pictures);
    Q_DISABLE_COPY(WindowDriver)

    /** Returns the widget of the form with that name. */
    template<typename Widget>
    Widget *find(const char *name) const
    {
        auto *widget = m_window.findChild<Widget *>(QLatin1String(name));
        if (!widget)
            qFatal("the window has no %s", name);
        return widget;
    }

    void click(const char *widgetName);
    /** Replaces the text of a line edit, key by key. */
    void type(const char *lineEdit, const QString &text);
    /** Opens a menu of the menu bar and leaves it open. */
    void openMenu(const char *title);
    /** Chooses an entry of the menu that is open. */
    void choose(const char *entry);

    void waitFor(const char *event, const std::function<bool()> &hasHappened) const;
    bool shows(const char *page) const;
    void waitForPage(const char *page) const;
    void waitForText(const char *label, const QString &text) const;

    /** Saves the window, or its upper part, as NAME.png in the folder of pictures. */
    void save(const char *name, int height = wholeHeight);
    /** Saves the same with the menu or list that is open over the window. */
    void saveWithPopup(const char *name, int height = wholeHeight);

private:
    static constexpr int wholeHeight = -1;

    QRect upperPart(int height) const;
    void savePixmap(const QPixmap &pixmap, const char *name) const;

    const QDir m_pictures;
    MainWindow m_window;
};
