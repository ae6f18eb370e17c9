#include "window_driver.h"

#include <QApplication>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QScreen>
#include <QStackedWidget>
#include <QTest>

namespace {

constexpr int patienceMs = 60000;

QAction *findAction(const QList<QAction *> &actions, const char *text)
{
    for (QAction *action : actions) {
        if (action->text() == QLatin1String(text))
            return action;
    }
    qFatal("no menu has the entry %s", text);
}

} // namespace

WindowDriver::WindowDriver(const QDir &pictures)
    : m_pictures(pictures)
{
    m_window.move(0, 0);
    m_window.show();
    m_window.activateWindow();
    if (!QTest::qWaitForWindowActive(&m_window, patienceMs))
        qFatal("the window does not become active");
}

void WindowDriver::click(const char *widgetName)
{
    auto *widget = find<QWidget>(widgetName);
    waitFor(widgetName, [widget] { return widget->isVisible() && widget->isEnabled(); });
    QTest::mouseClick(widget, Qt::LeftButton);
}

void WindowDriver::type(const char *lineEdit, const QString &text)
{
    auto *field = find<QLineEdit>(lineEdit);
    QTest::mouseClick(field, Qt::LeftButton);
    QTest::keyClick(field, Qt::Key_A, Qt::ControlModifier);
    QTest::keyClick(field, Qt::Key_Delete);
    QTest::keyClicks(field, text);
}

void WindowDriver::openMenu(const char *title)
{
    QMenuBar *bar = m_window.menuBar();
    QAction *menu = findAction(bar->actions(), title);
    QTest::mouseClick(bar, Qt::LeftButton, Qt::NoModifier, bar->actionGeometry(menu).center());
    waitFor(title, [] { return QApplication::activePopupWidget() != nullptr; });
}

void WindowDriver::choose(const char *entry)
{
    auto *menu = qobject_cast<QMenu *>(QApplication::activePopupWidget());
    if (!menu)
        qFatal("no menu is open to choose %s from", entry);
    QAction *action = findAction(menu->actions(), entry);
    QTest::mouseClick(menu, Qt::LeftButton, Qt::NoModifier, menu->actionGeometry(action).center());
}

void WindowDriver::waitFor(const char *event, const std::function<bool()> &hasHappened) const
{
    if (!QTest::qWaitFor(hasHappened, patienceMs))
        qFatal("waited for %s in vain", event);
}

bool WindowDriver::shows(const char *page) const
{
    const auto *pages = find<QStackedWidget>("stackedWidget");
    return pages->currentWidget()->objectName() == QLatin1String(page);
}

void WindowDriver::waitForPage(const char *page) const
{
    waitFor(page, [this, page] { return shows(page); });
}

void WindowDriver::waitForText(const char *label, const QString &text) const
{
    const auto *widget = find<QLabel>(label);
    waitFor(qPrintable(text), [&] { return widget->text() == text; });
}

void WindowDriver::save(const char *name, int height)
{
    savePixmap(m_window.grab(upperPart(height)), name);
}

void WindowDriver::saveWithPopup(const char *name, int height)
{
    const QWidget *popup = QApplication::activePopupWidget();
    if (!popup || !QTest::qWaitForWindowExposed(popup->windowHandle(), patienceMs))
        qFatal("nothing is open over the window for %s", name);
    // A popup is a window of its own: only the screen shows both.
    const QRect place = upperPart(height).translated(m_window.geometry().topLeft());
    savePixmap(
        m_window.screen()->grabWindow(0, place.x(), place.y(), place.width(), place.height()),
        name);
}

QRect WindowDriver::upperPart(int height) const
{
    return {0, 0, m_window.width(), height == wholeHeight ? m_window.height() : height};
}

void WindowDriver::savePixmap(const QPixmap &pixmap, const char *name) const
{
    const QString path = m_pictures.filePath(QLatin1String(name) + QLatin1String(".png"));
    if (!pixmap.save(path))
        qFatal("cannot write %s", qPrintable(path));
}
