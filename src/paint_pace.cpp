#include "paint_pace.h"

#include <QLabel>

PaintPace::PaintPace(QLabel *governed)
    : QObject(governed)
    , label(governed)
{
    timer.setSingleShot(true);
    timer.setInterval(paceMs);
    connect(&timer, &QTimer::timeout, this, &PaintPace::catchUp);
}

void PaintPace::setText(const QString &text)
{
    if (!timer.isActive()) {
        label->setText(text);
        timer.start();
        return;
    }
    // The attribute itself: setUpdatesEnabled() would ask for a painting when it allows it again,
    // and as long as it forbids it, the label would be missing in every picture of the window.
    const bool wasDisabled = label->testAttribute(Qt::WA_UpdatesDisabled);
    label->setAttribute(Qt::WA_UpdatesDisabled);
    label->setText(text);
    label->setAttribute(Qt::WA_UpdatesDisabled, wasDisabled);
    isBehind = true;
}

void PaintPace::catchUp()
{
    if (!isBehind)
        return;
    isBehind = false;
    label->update();
    timer.start();
}
