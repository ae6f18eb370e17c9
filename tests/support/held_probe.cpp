#include "held_probe.h"

#include "connection.h"

#include <QCoreApplication>
#include <QEvent>

HeldProbe::HeldProbe()
{
    qApp->installEventFilter(this);
}

void HeldProbe::release()
{
    qApp->removeEventFilter(this);
}

bool HeldProbe::eventFilter(QObject *watched, QEvent *event)
{
    // A timer that misses its event comes again after another interval.
    return event->type() == QEvent::Timer && qobject_cast<Connection *>(watched->parent());
}
