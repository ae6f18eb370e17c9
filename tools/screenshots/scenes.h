#pragma once

class FirmwareStage;
class QDir;

/** The start page and the pages of the Help menu. */
void savePages(const QDir &pictures);

/** Connecting, capturing, and the Wireshark help page. */
void saveCapture(const QDir &pictures);

/** The two firmware pages in each of their states. */
void saveFirmware(const QDir &pictures, const FirmwareStage &stage);
