#pragma once

#include "ui_mainwindow.h"

#include <QMainWindow>
#include <QVector>

class QTextDocument;

/** A window that carries the form and nothing else. */
class FormAlone
{
public:
    FormAlone() { ui.setupUi(&window); }

    /** Returns what the form's members point to, in their order; of a spacer, null. */
    QVector<QObject *> members() const;

    /**
     * Returns the form as text: the window and its members in their order, each indented below
     * its parent. Below an object follow the properties that differ from those of a new object
     * of its class. What a layout, the style or the font decides is left out.
     */
    QString describe();

    QMainWindow window;
    Ui_MainWindow ui;
};

/**
 * Returns @p document as text: the numbered paragraphs, with a line for each run of one format.
 * A run has the document's font and a paragraph no margins unless the line says otherwise.
 */
QString describeDocument(const QTextDocument &document);
