#pragma once

/**
 * What the program takes over from the desktop, and what it cannot. The form has
 * fixed places and light backgrounds of its own, while the font, the colours of
 * texts and the screen's resolution are the desktop's.
 */
namespace Appearance {

/**
 * Lets the window grow with the screen's resolution, in any ratio. To be called before
 * the QApplication is made. The user's environment variables for scaling go before.
 */
void scaleWithTheScreen();

/**
 * Adapts the application's palette and font to the form, before its window is built and
 * whenever the desktop changes them later. To be called once.
 *
 * Where the desktop's texts cannot be read on the form's backgrounds, the palette
 * becomes a light one of the style. Where a text of the form would be cut, the font is
 * condensed as far as needed, or, where it is too high, another family takes its place.
 * Its size, weight and style stay. What suits the form is left alone.
 */
void adaptToTheForm();

} // namespace Appearance
