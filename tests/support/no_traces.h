#pragma once

#include <QLoggingCategory>

/** Keeps the traces of long streams from being built and printed, for as long as it lives. */
class NoTraces
{
public:
    NoTraces() { QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false")); }
    ~NoTraces() { QLoggingCategory::setFilterRules(QString()); }
    Q_DISABLE_COPY(NoTraces)
};
