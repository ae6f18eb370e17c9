#pragma once

#include <QObject>

class QLabel;

/**
 * Gives a label the colour that lies under it as a background of its own.
 *
 * Without one, everything under a label is painted again whenever its text changes; for a count
 * that changes with every frame that is most of what a frame costs. The colour is taken from the
 * window as it is shown, beside the text, and anew when the desktop's colours or style change, or
 * the window becomes the active one or ceases to be it. Where it is not the same everywhere, the
 * label stays as it is. Looks never change.
 */
class Backdrop : public QObject
{
    Q_OBJECT

public:
    /** Watches @p watched, a part of a window, with its text at its left; lives as long as that. */
    explicit Backdrop(QLabel *watched);

    bool eventFilter(QObject *watched, QEvent *event) override;

private slots:
    void take();

private:
    QLabel *label;
    bool isStale = true;
};
