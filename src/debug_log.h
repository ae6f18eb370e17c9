#pragma once

#include <QtGlobal>

#include <cstdint>
#include <cstdio>

/**
 * @file
 * Time-stamped diagnostic lines by category, written to one stream.
 *
 * An entry is the local time as hours, minutes, seconds and milliseconds, one
 * blank, then the message, which brings its own line end:
 *
 *     14:03:07:042 Connected to /dev/ttyUSB0
 *
 * Nothing is written before DBG_Init() and DBG_Enable(). For one thread only.
 */

/** Connection, parser, forwarder, device discovery and main window. */
constexpr uint32_t DBG_GENERAL = 0x0001;
/** Every serial port that a scan looks at; off unless a build enables it. */
constexpr uint32_t DBG_PORT_SCAN = 0x0800;

/**
 * Sends the log to @p stream, which is not owned, and disables every category.
 */
void DBG_Init(FILE *stream);

/** Enables the categories in @p mask in addition to those already enabled. */
void DBG_Enable(uint32_t mask);

/**
 * Returns 1 when all bits of @p mask are enabled, otherwise 0.
 *
 * Stricter than the writers below, which are satisfied by any enabled bit.
 */
int DBG_IsEnabled(uint32_t mask);

/**
 * Writes one entry in printf style when any bit of @p mask is enabled.
 *
 * Messages longer than 1022 characters are cut. Returns 0, or -1 when no bit of
 * @p mask is enabled.
 */
int DBG_Printf(uint32_t mask, const char *format, ...) Q_ATTRIBUTE_FORMAT_PRINTF(2, 3);

/** Writes one entry with @p text as it stands when any bit of @p mask is enabled. */
void DBG_WriteString(uint32_t mask, const char *text);

/**
 * Writes @p length bytes of @p data to @p out as upper-case hexadecimal digits.
 *
 * @p out has room for 2 * length + 1 characters. Returns the position of the
 * terminating zero, where further text can be appended.
 */
uint8_t *DBG_HexToAscii(const uint8_t *data, uint8_t length, uint8_t *out);
