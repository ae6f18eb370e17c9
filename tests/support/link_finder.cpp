#include "link_finder.h"

#include "connection.h"

#include <QCoreApplication>
#include <QEvent>

LinkFinder::LinkFinder()
{
    qApp->installEventFilter(this);
}

bool LinkFinder::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::ChildAdded && qobject_cast<Connection *>(watched)) {
        m_connection = static_cast<Connection *>(watched);
        qApp->removeEventFilter(this);
    }
    return false;
}
