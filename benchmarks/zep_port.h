#pragma once

#include <cstdint>

/** Where every subject sends its datagrams, on the local host. */
constexpr uint16_t zepPort = 17754;
