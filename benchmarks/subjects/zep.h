#pragma once

#include <cstdint>
#include <cstring>
#include <sys/time.h>

/** The least that turns a stream of records into ZEP v2 datagrams, for the floors. */
class ZepFraming
{
public:
    static constexpr int headerSize = 32;
    static constexpr int deviceHeaderSize = 8;

    /** Takes one byte; returns the size of the datagram that it completes, or 0. */
    int take(uint8_t byte)
    {
        switch (m_state) {
        case State::Start:
            m_state = byte == 1 ? State::Length : State::Start;
            return 0;
        case State::Length:
            m_length = byte;
            m_index = 0;
            m_state = m_length > 0 ? State::Frame : State::Start;
            return 0;
        case State::Frame:
            m_record[m_index++] = byte;
            m_state = m_index == m_length ? State::End : State::Frame;
            return 0;
        case State::End:
            m_state = State::Start;
            return m_length > deviceHeaderSize ? wrap() : 0;
        }
        return 0;
    }

    const uint8_t *datagram() const { return m_datagram; }

private:
    enum class State { Start, Length, Frame, End };

    int wrap()
    {
        const int size = m_length - deviceHeaderSize;
        timeval now;
        gettimeofday(&now, nullptr);
        const uint8_t fixed[] = {'E', 'X', 2, 1, 11, 0, 0, 0, 0};
        std::memcpy(m_datagram, fixed, sizeof fixed);
        put(9, static_cast<uint32_t>(now.tv_sec) + ntpEpochOffset);
        put(13, static_cast<uint32_t>(static_cast<double>(now.tv_usec) * 4294.967296));
        put(17, m_sequenceNumber++);
        m_datagram[headerSize - 1] = static_cast<uint8_t>(size);
        std::memcpy(m_datagram + headerSize, m_record + deviceHeaderSize,
                    static_cast<size_t>(size));
        return headerSize + size;
    }

    void put(int offset, uint32_t value)
    {
        for (int i = 0; i < 4; ++i)
            m_datagram[offset + i] = static_cast<uint8_t>(value >> (24 - 8 * i));
    }

    /** Seconds from 1900 to 1970. */
    static constexpr uint32_t ntpEpochOffset = 2208988800U;

    State m_state = State::Start;
    uint8_t m_length = 0;
    uint8_t m_index = 0;
    uint32_t m_sequenceNumber = 1;
    uint8_t m_record[256] = {};
    uint8_t m_datagram[headerSize + 256] = {};
};
