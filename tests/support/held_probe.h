#pragma once

#include <QObject>

/**
 * Until it is released, no connection gives its device up for want of a channel
 * report: a test that stands still for 300 ms finds its port open all the same.
 */
class HeldProbe : public QObject
{
    Q_OBJECT

public:
    HeldProbe();

    /** Lets the probes end, no sooner than they would have. */
    void release();

    bool eventFilter(QObject *watched, QEvent *event) override;
};
