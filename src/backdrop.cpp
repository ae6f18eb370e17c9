#include "backdrop.h"

#include <QEvent>
#include <QImage>
#include <QLabel>
#include <QPixmap>

namespace {

/** Returns the only colour of @p picture, or an invalid one if it has several. */
QColor onlyColor(const QImage &picture)
{
    if (picture.isNull())
        return {};
    const QRgb color = picture.pixel(0, 0);
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) {
            if (picture.pixel(x, y) != color)
                return {};
        }
    }
    return QColor(color);
}

/** Returns the part of @p label's window that shows what is under it, but not its text. */
QImage besideTheText(const QLabel *label)
{
    QRect place = label->rect();
    place.setLeft(label->sizeHint().width());
    place.moveTopLeft(label->mapTo(label->window(), place.topLeft()));
    return place.isEmpty() ? QImage() : label->window()->grab(place).toImage();
}

} // namespace

Backdrop::Backdrop(QLabel *watched)
    : QObject(watched)
    , label(watched)
{
    label->installEventFilter(this);
    // With a colour of its own, the label is not told that the desktop has another one.
    label->parentWidget()->installEventFilter(this);
}

bool Backdrop::eventFilter(QObject *watched, QEvent *event)
{
    switch (event->type()) {
    case QEvent::Show:
    case QEvent::PaletteChange:
    case QEvent::StyleChange:
        // Not before all that lies under the label has changed, too.
        QMetaObject::invokeMethod(this, &Backdrop::take, Qt::QueuedConnection);
        break;
    default:
        break;
    }
    return QObject::eventFilter(watched, event);
}

void Backdrop::take()
{
    if (!label->isVisible())
        return;
    label->setAutoFillBackground(false);
    const QColor color = onlyColor(besideTheText(label));
    if (!color.isValid())
        return;
    // All other colours stay those of the desktop. Where it is the same, nothing happens.
    QPalette palette;
    palette.setColor(QPalette::Window, color);
    label->setPalette(palette);
    label->setAutoFillBackground(true);
}
