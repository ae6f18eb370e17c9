#pragma once

#include <QMainWindow>
#include <QPalette>
#include <QStringList>

/** Returns the contrast of two colours of @p palette as WCAG 2.1 defines it, from 1 to 21. */
double contrast(const QPalette &palette, QPalette::ColorGroup group, QPalette::ColorRole text,
                QPalette::ColorRole background);

/**
 * Returns the widgets of @p window, itself included, in which an enabled text or link has a
 * contrast of less than 4.5 to 1 with its background, or one that is selected of less than 3.
 * Menus do not count: they have the desktop's colours throughout.
 */
QStringList unreadableTexts(const QMainWindow &window);
