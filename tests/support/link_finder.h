#pragma once

#include <QObject>

class Connection;

/** Finds the connection of the window that is built next, by the child that it gets. */
class LinkFinder : public QObject
{
    Q_OBJECT

public:
    LinkFinder();

    /** Returns the connection found; null before a window has been built. */
    Connection *connection() const { return m_connection; }

    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    Connection *m_connection = nullptr;
};
