#pragma once

#include <QObject>
#include <QTimer>

class QLabel;

/**
 * Paints a number that changes often at a pace at which it can be read.
 *
 * The label has each text at once, so that whoever asks it or paints its window gets the latest;
 * it only asks less often to be painted. A text after a pause is painted at once.
 */
class PaintPace : public QObject
{
    Q_OBJECT

public:
    /** About so many milliseconds pass from a painting to the next. */
    static constexpr int paceMs = 500;

    /** Governs @p governed and lives as long as that. */
    explicit PaintPace(QLabel *governed);

    /** Gives the label @p text. */
    void setText(const QString &text);

private slots:
    void catchUp();

private:
    QLabel *label;
    QTimer timer;
    bool isBehind = false;
};
