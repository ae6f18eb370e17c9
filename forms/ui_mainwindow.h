#pragma once

#include "form_text.h"
#include "ui_mainwindow_form.h"

#include <QStringList>

/**
 * The main window's widget tree: mainwindow.ui as generated, plus the channels.
 * Generated code renames the items of a combo box one by one, which leaves foreign items in
 * the list and fails on missing ones. The box therefore has no items in mainwindow.ui; the
 * channels stand here only, and every translation builds the list anew.
 */
class Ui_MainWindow : public Ui_MainWindowForm
{
public:
    /** Builds all widgets on @p MainWindow, which owns them, and sets their texts. Call once. */
    void setupUi(QMainWindow *MainWindow)
    {
        Ui_MainWindowForm::setupUi(MainWindow);
        insertChannels();
    }

    /**
     * Sets every text again and rebuilds the list of channels with the first one current;
     * texts changed since are lost. @p MainWindow is the window given to setupUi().
     */
    void retranslateUi(QMainWindow *MainWindow)
    {
        Ui_MainWindowForm::retranslateUi(MainWindow);
        insertChannels();
    }

private:
    void insertChannels()
    {
        static const char *const channels[] = {
            QT_TRANSLATE_NOOP("MainWindow", "11"), QT_TRANSLATE_NOOP("MainWindow", "12"),
            QT_TRANSLATE_NOOP("MainWindow", "13"), QT_TRANSLATE_NOOP("MainWindow", "14"),
            QT_TRANSLATE_NOOP("MainWindow", "15"), QT_TRANSLATE_NOOP("MainWindow", "16"),
            QT_TRANSLATE_NOOP("MainWindow", "17"), QT_TRANSLATE_NOOP("MainWindow", "18"),
            QT_TRANSLATE_NOOP("MainWindow", "19"), QT_TRANSLATE_NOOP("MainWindow", "20"),
            QT_TRANSLATE_NOOP("MainWindow", "21"), QT_TRANSLATE_NOOP("MainWindow", "22"),
            QT_TRANSLATE_NOOP("MainWindow", "23"), QT_TRANSLATE_NOOP("MainWindow", "24"),
            QT_TRANSLATE_NOOP("MainWindow", "25"), QT_TRANSLATE_NOOP("MainWindow", "26"),
        };
        QStringList texts;
        for (const char *channel : channels)
            texts.append(formText(channel));
        channelSelect->clear();
        channelSelect->insertItems(0, texts);
    }
};
