#pragma once

#include <QCoreApplication>
#include <QString>

/**
 * A text of the form in the user's language, or the text itself without a translation.
 * The generated form asks through this function: left to itself it would name its own class
 * as the context, while the texts belong to the context "MainWindow".
 */
inline QString formText(const char *text, const char *disambiguation = nullptr)
{
    return QCoreApplication::translate("MainWindow", text, disambiguation);
}
