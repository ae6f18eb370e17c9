#pragma once

#include <QMetaType>
#include <QString>

#include <vector>

Q_DECLARE_METATYPE(std::vector<QString>)

/**
 * Adds the rows of the choice between the two firmware pages to a table of test data, with the
 * columns "devices" (int) and "ports" (std::vector<QString>), which the last scan has found, and
 * "unambiguous" (bool): whether the page for a single device is the right one.
 */
void addFirmwarePageRows();
