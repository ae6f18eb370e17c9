#pragma once

#include <QObject>

/**
 * What the program takes over from the desktop, and what it cannot. The form has
 * fixed places and light backgrounds of its own, while the font, the colours of
 * texts and the screen's resolution are the desktop's.
 *
 * An object adapts the application's palette and font to the form when it is made,
 * before the window is built, and when the desktop sets others while it lives.
 *
 * Where the desktop's texts cannot be read on the form's backgrounds, the palette
 * becomes a light one of the style. Where a text of the form would be cut, the font is
 * condensed as far as needed, or, where it is too high, another family takes its place.
 * Its size, weight and style stay. What suits the form is left alone.
 */
class Appearance : public QObject
{
    Q_OBJECT

public:
    /** Needs the QApplication; to be destroyed before it. */
    Appearance();

    /**
     * Lets the window grow with the screen's resolution, in any ratio. To be called before
     * the QApplication is made. The user's environment variables for scaling go before.
     */
    static void scaleWithTheScreen();

    /** Notices changes by the desktop; to no other end. */
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    bool m_isAdapting = false;
};
