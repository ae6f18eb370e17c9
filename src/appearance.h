#pragma once

#include <QObject>
#include <QPalette>

class QMainWindow;

/**
 * Fits the window, whose form has fixed places and light backgrounds, to the desktop. If a text
 * would be cut, the pages get a condensed font or, if it is too high, another family. If a text
 * would be too pale, the window gets light colours. The application's are never set.
 */
class Appearance : public QObject
{
    Q_OBJECT

public:
    /** Fits @p window, which is complete and owns the object, and follows the desktop. */
    explicit Appearance(QMainWindow *window);

private:
    void adapt();

    QMainWindow *m_window;
    const QPalette m_formPalette;
};
