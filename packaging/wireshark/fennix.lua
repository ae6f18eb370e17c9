-- Wireshark's plug-in for FENNIX: it has real check sequences checked and names missing frames.
-- Every datagram still goes to Wireshark's own ZEP dissector.

if package.loaded.fennix then return end -- Installed, and also given by -X lua_script.
package.loaded.fennix = true

-- ZEP version 2 as FENNIX writes it. Data: channel, device id, mode and LQI (0), time, number,
-- ten reserved octets (0), length of the frame (6 at least). Acknowledgement: number.
local data_pattern = "^EX\2\1(.)\0\0\0\0........(....)" .. ("\0"):rep(10) .. "([\6-\255])"
local acknowledgement_pattern = "^EX\2\2(....)$"
local header_size, mode_index, remembered_numbers = 32, 7, 16
-- How many frames in succession prove that a sender's check sequences are real, or are not.
local fitting_frames, unfitting_frames = 3, 16

local fennix = Proto("fennix", "FENNIX")
local missing_field = ProtoField.uint32("fennix.missing", "Missing before this frame")
local missing_expert = ProtoExpert.new("fennix.missing.expert", "Frames are missing",
    expert.group.SEQUENCE, expert.severity.WARN)
fennix.fields, fennix.experts = { missing_field }, { missing_expert }
local prefs, zep, udp_ports = fennix.prefs, Dissector.get("zep"), DissectorTable.get("udp.port")
prefs.check_sequences = Pref.bool("Recognise check sequences", true, "Check an FCS that is real")
prefs.port = Pref.uint("UDP port", 17754, "The port to which FENNIX sends")
local taken_port, former_dissector, listener
local senders -- In order of appearance.
local ports -- The senders by source port; `latest` is the one of the port's latest frame.
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

-- Whether the sender's check sequences were known to be real at that frame.
local function are_real(sender, frame)
    local count = #sender.changes
    while count > 0 and sender.changes[count] > frame do count = count - 1 end
    return count % 2 == 1
end

-- Frames are looked at only when there are enough for a proof; the latest nearly always refutes it.
local function learn(sender, frame, datagram)
    local known, unproven = are_real(sender, frame), sender.unproven
    table.insert(unproven, datagram)
    local refuting = #unproven
    if refuting < (known and unfitting_frames or fitting_frames) then return end
    while refuting > 0 and fits(unproven[refuting]) ~= known do refuting = refuting - 1 end
    if refuting == 0 then table.insert(sender.changes, frame) end
    sender.unproven = { table.unpack(unproven, refuting + 1) }
end

-- The number without the wrap at 2^32, as near to another one as can be.
local function unwrap(number, near)
    return near + (number - near + 0x80000000) % 0x100000000 - 0x80000000
end

-- The source address follows the destination: what the port sent meanwhile from other addresses
-- is not missing.
local function open_gap(sender, from, to, frame)
    local missing = to - from + 1
    for _, other in ipairs(ports[sender.port]) do
        if other.frame > sender.frame then
            local last = unwrap(other.number, to)
            local first = last - (other.number - other.turn)
            missing = missing - math.max(0, math.min(to, last) - math.max(from, first) + 1)
        end
    end
    if missing > 0 then sender.gaps[frame] = { from = from, to = to, missing = missing } end
end

-- Whether this is the number of a late frame, which makes its gap smaller.
local function fill_gap(sender, number)
    for frame, gap in pairs(sender.gaps) do
        if gap.from <= number and number <= gap.to then
            gap.missing = gap.missing - 1
            if gap.missing == 0 then sender.gaps[frame] = nil end
            return true
        end
    end
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
        if not fill_gap(sender, number) then -- The program was started again.
            sender.number, sender.turn = number, number
        end
    elseif port.latest ~= sender then
        sender.turn = number
    end
    sender.number, sender.frame, port.latest = math.max(sender.number, number), frame, sender
    sender.recent[sender.frames % remembered_numbers] = number
    sender.frames = sender.frames + 1
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
        counts = {}, recent = {}, gaps = {}, changes = {}, unproven = {} }
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
            sender.last = math.floor(pinfo.abs_ts)
            sender.first = sender.first or sender.last
            sender.counts[channel] = (sender.counts[channel] or 0) + 1
            if is_whole then learn(sender, frame, datagram) end
        end
        local gap = sender and sender.gaps[frame]
        if gap then show_missing(gap.missing, tree) end
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
        local channels, missing = {}, 0
        for channel = 0, 255 do table.insert(channels, sender.counts[channel] and channel) end
        for _, gap in pairs(sender.gaps) do missing = missing + gap.missing end
        local time = sender.last - sender.first < 86400 and "%H:%M:%S" or "%a %H:%M"
        text = text .. row:format(tostring(sender.address), sender.port,
            table.concat(channels, ","), os.date(time, sender.first), os.date(time, sender.last),
            sender.frames, sender.counts[false] or 0, missing,
            100 * missing / (sender.frames + missing))
    end
    return text
end

local function apply_preferences()
    if prefs.port ~= taken_port then
        if former_dissector then udp_ports:add(taken_port, former_dissector) end
        taken_port, former_dissector = prefs.port, udp_ports:get_dissector(prefs.port)
        udp_ports:set(taken_port, fennix) -- The port taken before is given up by this.
    end
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
