#include "backdrop.h"

#include <QBackingStore>
#include <QEvent>
#include <QImage>
#include <QLabel>
#include <QWindow>

namespace {

/** Returns the only colour of @p picture, or an invalid one if it has several or none. */
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

/**
 * Returns @p place of @p window, which is exposed, as it is painted on the screen; a null image
 * where that cannot be read.
 *
 * QWidget::grab() would first lay out everything that is hidden: all the help texts, just when
 * a device has 300 ms to answer.
 */
QImage paintedPart(QWidget *window, const QRect &place)
{
    if (place.isEmpty())
        return {};
    window->repaint(place);
    QBackingStore *store = window->backingStore();
    const auto *pixels = store ? dynamic_cast<const QImage *>(store->paintDevice()) : nullptr;
    if (!pixels)
        return {};
    const double scale = pixels->devicePixelRatioF();
    const QRectF part(place.topLeft() * scale, place.size() * scale);
    return pixels->copy(part.toRect().intersected(pixels->rect()));
}

/** Returns the part of @p label's window that shows what is under it, but not its text. */
QImage besideTheText(const QLabel *label)
{
    QRect place = label->rect();
    place.setLeft(label->sizeHint().width());
    place.moveTopLeft(label->mapTo(label->window(), place.topLeft()));
    return paintedPart(label->window(), place);
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
        isStale = true;
        break;
    case QEvent::WindowActivate:
    case QEvent::WindowDeactivate:
        // Some desktops have other colours for a window that is not the active one.
        isStale = true;
        label->update();
        break;
    case QEvent::Paint:
        // Not before all that lies under the label has been painted, too.
        if (isStale && watched == label)
            QMetaObject::invokeMethod(this, &Backdrop::take, Qt::QueuedConnection);
        break;
    default:
        break;
    }
    return QObject::eventFilter(watched, event);
}

void Backdrop::take()
{
    const QWindow *window = label->window()->windowHandle();
    if (!isStale || !label->isVisible() || !window || !window->isExposed())
        return;
    isStale = false;
    label->setAutoFillBackground(false);
    const QColor color = onlyColor(besideTheText(label));
    if (!color.isValid())
        return;
    // All other colours stay those of the desktop. Where it is the same, nothing happens.
    QPalette palette;
    palette.setColor(QPalette::Window, color);
    label->setPalette(palette);
    label->setAutoFillBackground(true);
    // The label's change of palette was this one, not the desktop's.
    isStale = false;
}
