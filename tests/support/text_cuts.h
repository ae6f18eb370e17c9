#pragma once

#include <QMainWindow>
#include <QStringList>

/**
 * Returns the texts of labels, buttons and group boxes that @p window shows cut, each
 * with the name of its widget. Looks at pixels: a text that has its place looks the same when
 * its widget is given more room. Leaves the window's layout in disorder.
 */
QStringList cutTexts(const QMainWindow &window);
