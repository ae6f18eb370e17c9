-- Wireshark's plug-in for FENNIX: has real check sequences verified, and names missing frames.

if package.loaded.fennix then return end -- Installed, and also given by -X lua_script.
package.loaded.fennix = true

-- ZEP version 2 as FENNIX writes it. Data: channel, device id, mode and LQI (0), time, number,
-- ten reserved octets (0), length of the frame (6 at least). Acknowledgement: number.
local data_pattern = "^EX\2\1(.)\0\0\0\0........(....)" .. ("\0"):rep(10) .. "([\6-\255])"
local acknowledgement_pattern = "^EX\2\2(....)$"
local header_size, mode_index, default_port, remembered_numbers = 32, 7, 17754, 16
local frames_to_trust, frames_to_distrust = 3, 16 -- A sender's check sequences; in succession.

local fennix = Proto("fennix", "FENNIX")
local missing_field = ProtoField.uint32("fennix.missing", "Missing before this frame")
local missing_expert = ProtoExpert.new("fennix.missing.expert", "Frames are missing",
    expert.group.SEQUENCE, expert.severity.WARN)
fennix.fields, fennix.experts = { missing_field }, { missing_expert }
local prefs, zep, udp_ports = fennix.prefs, Dissector.get("zep"), DissectorTable.get("udp.port")
prefs.check_sequences = Pref.bool("Recognise check sequences", true, "Check an FCS that is real")
prefs.port = Pref.uint("UDP port", default_port, "The port to which FENNIX sends")
local senders, ports, listener = {}, {}, nil -- In order of appearance; by source port.
function fennix.init() senders, ports = {}, {} end

-- CRC-16 of ITU-T as in IEEE 802.15.4, octet by octet; with a frame's own at its end it is 0.
local function fits(datagram)
    local crc = 0
    for position = header_size + 1, #datagram do
        local octet = bit.bxor(crc % 256, datagram:byte(position))
        octet = bit.bxor(octet, octet * 16 % 256)
        crc = bit.bxor(bit.rshift(crc, 8), octet * 256, octet * 8, bit.rshift(octet, 4))
    end
    return crc == 0
end

-- The index of the last entry that begins at a number or before it. Entries ascend.
local function find(entries, number)
    local first, last = 0, #entries
    while first < last do
        local middle = math.ceil((first + last) / 2)
        if entries[middle].from <= number then first = middle else last = middle - 1 end
    end
    return first
end
-- Whether the sender's check sequences were known to be real at that frame.
local function are_real(sender, frame) return find(sender.changes, frame) % 2 == 1 end

-- Looks at frames only when there are enough for a change, the latest first; one refutes it.
local function learn(sender, frame, datagram)
    local known, unproven = are_real(sender, frame), sender.unproven
    table.insert(unproven, datagram)
    local last = #unproven
    if last < (known and frames_to_distrust or frames_to_trust) then return end
    while last > 0 and fits(unproven[last]) ~= known do last = last - 1 end
    if last == 0 then table.insert(sender.changes, { from = frame }) end
    sender.unproven = { table.unpack(unproven, last + 1) }
end

-- The number without the wrap at 2^32, as near to another one as can be.
local function unwrap(number, near)
    return near + (number - near + 0x80000000) % 0x100000000 - 0x80000000
end

-- Takes numbers out of pieces of gaps; returns whether any was in one.
local function new_piece(gap, from, to) return { gap = gap, from = from, to = to } end
local function take(pieces, from, to)
    local index, found = find(pieces, to), false
    while index > 0 and pieces[index].to >= from do
        local piece = table.remove(pieces, index)
        local gap, start, first = piece.gap, piece.from, math.max(from, piece.from)
        local last = math.min(to, piece.to)
        gap.missing = gap.missing - (last - first + 1)
        if last < piece.to then table.insert(pieces, index, new_piece(gap, last + 1, piece.to)) end
        if start < first then table.insert(pieces, index, new_piece(gap, start, first - 1)) end
        index, found = index - 1, true
    end
    return found
end

-- What the port sent meanwhile from other addresses is not missing, nor is what has just come.
local function open_gap(sender, from, to, frame)
    local gap = { missing = to - from + 1 }
    local pieces = { new_piece(gap, from, to) }
    for _, other in ipairs(ports[sender.port]) do
        local last = unwrap(other.number, to)
        if other.frame > sender.frame then take(pieces, last - other.number + other.turn, last) end
    end
    for _, number in pairs(sender.recent) do take(pieces, number, number) end
    for _, piece in ipairs(pieces) do table.insert(sender.pieces, piece) end
    sender.gaps[frame] = gap
end

-- Takes note of a number, unless it is doubled; returns whether it did.
local function note(sender, number, frame)
    local expected, port = sender.number + 1, ports[sender.port]
    number = unwrap(number, expected)
    if number > expected then
        open_gap(sender, expected, number - 1, frame)
    elseif number < expected then
        for _, recent in pairs(sender.recent) do
            if recent == number then return false end
        end
        if not take(sender.pieces, number, number) then -- The program was started again.
            sender.number, sender.turn, sender.pieces = number, number, {}
        end
    elseif port.latest ~= sender then
        sender.turn = number
    end
    sender.number, sender.frame, port.latest = math.max(sender.number, number), frame, sender
    sender.frames, sender.recent[sender.frames % remembered_numbers] = sender.frames + 1, number
    return true
end

-- The sender of a packet; one that is not known yet is made for data only.
local function find_sender(pinfo, number, is_data)
    local port, address = pinfo.src_port, pinfo.src
    ports[port] = ports[port] or {}
    for _, sender in ipairs(ports[port]) do
        if sender.address == address then return sender end
    end
    if not is_data then return nil end
    local sender = { address = address, port = port, number = number - 1, frames = 0,
        counts = {}, recent = {}, pieces = {}, gaps = {}, changes = {}, unproven = {} }
    table.insert(ports[port], sender)
    table.insert(senders, sender)
    return sender
end

-- The number of a datagram that is FENNIX's, and its channel; an acknowledgement's is false.
local function read_header(datagram, size)
    local channel, number, length = datagram:match(data_pattern)
    if channel and length:byte() ~= size - header_size then return nil end
    number = number or #datagram == size and datagram:match(acknowledgement_pattern)
    return number and Struct.unpack(">I4", number), channel and channel:byte() or false
end

local function show_missing(count, tree)
    tree:add(missing_field, count):set_generated():add_proto_expert_info(missing_expert,
        (count == 1 and "1 frame is" or count .. " frames are") .. " missing before this one")
end

function fennix.dissector(tvb, pinfo, tree)
    local datagram, size, frame = tvb:raw(), tvb:reported_len(), pinfo.number
    local number, channel = read_header(datagram, size)
    if number then
        local is_new = not (pinfo.visited or pinfo.in_error_pkt)
        local sender = find_sender(pinfo, number, is_new and channel)
        local is_whole = channel and #datagram == size and prefs.check_sequences
        if is_new and sender and note(sender, number, frame) then
            sender.last = math.floor(math.max(0, math.min(pinfo.abs_ts, 1e11)))
            sender.first = sender.first or sender.last
            sender.counts[channel] = (sender.counts[channel] or 0) + 1
            if is_whole then learn(sender, frame, datagram) end
        end
        local gap = sender and sender.gaps[frame]
        if gap and gap.missing > 0 then show_missing(gap.missing, tree) end
        if is_whole and (sender and are_real(sender, frame) or fits(datagram)) then
            local copy = tvb:bytes()
            copy:set_index(mode_index, 1)
            tvb = copy:tvb("ZEP with CRC mode")
        end
    end
    -- What Wireshark cannot dissect it has marked by then; it is no error of this script.
    pcall(zep.call, zep, tvb, pinfo, tree)
end

local function summary()
    local text = "Address          Port Channels First     Last      Frames  Acks Missing Percent\n"
    local row = "%-15s %5d %-8s %-9s %-9s %6d %5d %7d %7.2f\n" -- Fits into Wireshark's window.
    for _, sender in ipairs(senders) do
        local channels, lost = {}, 0
        for channel = 0, 255 do table.insert(channels, sender.counts[channel] and channel) end
        for _, gap in pairs(sender.gaps) do lost = lost + gap.missing end
        local time = sender.last - sender.first < 86400 and "%H:%M:%S" or "%d. %H:%M"
        text = text .. row:format(tostring(sender.address), sender.port,
            table.concat(channels, ","), os.date(time, sender.first), os.date(time, sender.last),
            sender.frames, sender.counts[false] or 0, lost, 100 * lost / (sender.frames + lost))
    end
    return text
end

local function apply_preferences()
    udp_ports:set(prefs.port, fennix) -- The port taken before is given up by this.
    if prefs.port ~= default_port then udp_ports:add(default_port, zep) end
    if not gui_enabled() and prefs.summary and not listener then
        listener = Listener.new()
        function listener.draw() io.write(summary()) end
    end
end

if gui_enabled() then
    register_menu("FENNIX/Captured and missing", function()
        local window = TextWindow.new("FENNIX: captured and missing")
        window:add_button("Update", function() window:set(summary()) end)
        window:set(summary())
    end, MENU_TOOLS_UNSORTED)
else
    prefs.summary = Pref.bool("Summary", false, "Print at the end what was captured")
end
apply_preferences()
fennix.prefs_changed = apply_preferences
