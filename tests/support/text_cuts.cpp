#include "text_cuts.h"

#include <QGroupBox>
#include <QLabel>
#include <QPushButton>
#include <QStackedWidget>
#include <QStyleOptionGroupBox>

namespace {

/** Even numbers at every scale in use, so that letters keep their places on the grid of pixels. */
constexpr QSize moreRoom(320, 80);

/** Texts are nearly black, frames and backgrounds are not. */
constexpr int darkest = 110;

bool isDark(const QImage &image, int x, int y)
{
    return qGray(image.pixel(x, y)) < darkest;
}

int darkPixels(const QPixmap &picture)
{
    const QImage image = picture.toImage();
    int count = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x)
            count += isDark(image, x, y);
    }
    return count;
}

/** Returns the extent of what is dark on a button, its frame excepted. */
QSize darkExtent(QPushButton *button)
{
    const int frame = 3;
    const QImage image =
        button->grab(button->rect().adjusted(frame, frame, -frame, -frame)).toImage();
    QRect extent;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (isDark(image, x, y))
                extent |= QRect(x, y, 1, 1);
        }
    }
    return extent.size();
}

void giveMoreRoom(QWidget *widget)
{
    widget->setMaximumSize(QWIDGETSIZE_MAX, QWIDGETSIZE_MAX);
    widget->resize(widget->size() + moreRoom);
}

bool isCut(QLabel *label)
{
    const int before = darkPixels(label->grab());
    giveMoreRoom(label);
    return darkPixels(label->grab()) != before;
}

/** A text in the middle may fall between pixels, and be one wider or narrower for it. */
bool isCut(QPushButton *button)
{
    const QSize before = darkExtent(button);
    giveMoreRoom(button);
    const QSize difference = darkExtent(button) - before;
    return difference.width() > 1 || difference.height() > 1;
}

/** A title has no more room in a larger box: compared with a label of the same text. */
bool isCut(QGroupBox *box)
{
    QStyleOptionGroupBox option;
    option.initFrom(box);
    option.text = box->title();
    option.subControls = QStyle::SC_GroupBoxFrame | QStyle::SC_GroupBoxLabel;
    QRect band =
        box->style()->subControlRect(QStyle::CC_GroupBox, &option, QStyle::SC_GroupBoxLabel, box);
    band.setLeft(0);
    band.setRight(box->width());
    QLabel label(box->title(), box);
    label.resize(label.sizeHint() + moreRoom);
    const int whole = darkPixels(label.grab());
    label.hide();
    return darkPixels(box->grab(band)) != whole;
}

QString describe(const QWidget *widget, const QString &text)
{
    return QString("%1: %2").arg(widget->objectName(), text);
}

QStringList cutOn(const QWidget *page)
{
    QStringList cuts;
    const QList<QGroupBox *> boxes = page->findChildren<QGroupBox *>();
    for (QGroupBox *box : boxes) {
        if (isCut(box))
            cuts.append(describe(box, box->title()));
    }
    const QList<QLabel *> labels = page->findChildren<QLabel *>();
    for (QLabel *label : labels) {
        if (!label->text().isEmpty() && isCut(label))
            cuts.append(describe(label, label->text()));
    }
    const QList<QPushButton *> buttons = page->findChildren<QPushButton *>();
    for (QPushButton *button : buttons) {
        // A disabled button's text is pale.
        button->setEnabled(true);
        if (!button->text().isEmpty() && isCut(button))
            cuts.append(describe(button, button->text()));
    }
    return cuts;
}

} // namespace

QStringList cutTexts(const QMainWindow &window)
{
    auto *pages = window.findChild<QStackedWidget *>("stackedWidget");
    QStringList cuts;
    for (int i = 0; i < pages->count(); ++i) {
        pages->setCurrentIndex(i);
        cuts += cutOn(pages->currentWidget());
    }
    return cuts;
}
