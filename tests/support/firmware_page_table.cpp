#include "firmware_page_table.h"

#include <QTest>

void addFirmwarePageRows()
{
    using Ports = std::vector<QString>;
    QTest::addColumn<int>("devices");
    QTest::addColumn<Ports>("ports");
    QTest::addColumn<bool>("unambiguous");
    QTest::newRow("none") << 0 << Ports() << false;
    QTest::newRow("one") << 1 << Ports({"/dev/ttyUSB0"}) << true;
    QTest::newRow("two dongles") << 2 << Ports({"/dev/ttyUSB0", "/dev/ttyUSB1"}) << false;
    QTest::newRow("dongle and board") << 2 << Ports({"/dev/ttyUSB0", "/dev/ttyS0"}) << true;
    QTest::newRow("board and dongle") << 2 << Ports({"/dev/ttyS0", "/dev/ttyUSB0"}) << true;
    QTest::newRow("board on its other UART")
        << 2 << Ports({"/dev/ttyAMA0", "/dev/ttyUSB0"}) << false;
    QTest::newRow("a longer name") << 2 << Ports({"/dev/ttyS01", "/dev/ttyUSB0"}) << false;
    QTest::newRow("three") << 3 << Ports({"/dev/ttyUSB0", "/dev/ttyUSB1", "/dev/ttyS0"}) << false;
    QTest::newRow("ports already tried") << 2 << Ports({"/dev/ttyUSB0"}) << false;
}
