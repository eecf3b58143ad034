-- A dissector for Wireshark and tshark: the messages of a Vantry hub, on TCP port 9102 and in the files of
-- "vantry capture".
--
-- A message is a frame: 16 bytes of magic, the length of the text as a little-endian number of 4 bytes,
-- and the text, a JSON object whose members are the sections. The dissector lists the sections with the
-- number of their entries and hands the text to Wireshark's dissector for JSON. The hub drops bytes that
-- don't begin with the magic 16 at a time, and so does this dissector. docs/PROTOCOL.md has the protocol.

local MAGIC = "\xB3\xEC\x09\x9A\x22\x92\x48\xFA\x83\xD0\x06\x84\x0B\xC9\x91\x02"
local HEAD = 20
local PORT = 9102

local vantry = Proto("vantry", "Vantry Property Hub")
local captured = Proto("vantry_capture", "Vantry Property Hub, captured at the local device")
local fields = {
    magic = ProtoField.bytes("vantry.magic", "Magic"),
    length = ProtoField.uint32("vantry.length", "Length of the text"),
    text = ProtoField.string("vantry.text", "Text"),
    section = ProtoField.string("vantry.section", "Section"),
    entries = ProtoField.uint32("vantry.entries", "Number of entries"),
    junk = ProtoField.bytes("vantry.junk", "Not a frame"),
}
vantry.fields = { fields.magic, fields.length, fields.text, fields.section, fields.entries, fields.junk }
local dropped = ProtoExpert.new("vantry.dropped", "The hub drops these bytes", expert.group.PROTOCOL,
    expert.severity.WARN)
local cut = ProtoExpert.new("vantry.cut", "Only the begin of this frame was captured", expert.group.UNDECODED,
    expert.severity.NOTE)
vantry.experts = { dropped, cut }

-- Returns the sections of a text, each with its name and the number of objects in its array.
local function sections_of(text)
    local found, depth, at, key = {}, 0, 1, nil
    while at <= #text do
        local char = text:sub(at, at)
        if char == '"' then
            local stop = at + 1
            while stop <= #text and text:sub(stop, stop) ~= '"' do
                stop = stop + (text:sub(stop, stop) == "\\" and 2 or 1)
            end
            if depth == 1 then
                local name = text:sub(at + 1, stop - 1)
                if text:match("^%s*:", stop + 1) then
                    key = { name = name, entries = 0 }
                    found[#found + 1] = key
                end
            end
            at = stop
        elseif char == "{" or char == "[" then
            if char == "{" and depth == 2 and key then
                key.entries = key.entries + 1
            end
            depth = depth + 1
        elseif char == "}" or char == "]" then
            depth = depth - 1
        end
        -- The next character that matters.
        at = text:find('["{}%[%]]', at + 1) or #text + 1
    end
    return found
end

local function is_frame(buffer)
    return buffer:len() >= #MAGIC and buffer:raw(0, #MAGIC) == MAGIC
end

-- The text of the column "Info" for this packet, which may have several frames.
local info = ""
local function add_info(pinfo, text)
    info = info == "" and text or info .. " " .. text
    pinfo.cols.protocol = "Vantry"
    pinfo.cols.info = info
end

local function dissect_junk(buffer, pinfo, tree)
    add_info(pinfo, "[not a frame]")
    tree:add(vantry, buffer()):add(fields.junk, buffer()):add_proto_expert_info(dropped)
end

-- Dissects one frame, of which the buffer may have the begin only.
local function dissect_frame(buffer, pinfo, tree)
    local length = buffer(#MAGIC, 4):le_uint()
    local branch = tree:add(vantry, buffer())
    branch:add(fields.magic, buffer(0, #MAGIC))
    branch:add_le(fields.length, buffer(#MAGIC, 4))
    if buffer:len() == HEAD then
        return add_info(pinfo, "[no text]")
    end
    local text = buffer(HEAD)
    local names = {}
    for _, section in ipairs(sections_of(text:raw())) do
        local entry = branch:add(fields.section, text, section.name)
        if section.entries > 0 then
            entry:add(fields.entries, text, section.entries)
        end
        names[#names + 1] = section.name .. (section.entries > 0 and " " .. section.entries or "")
    end
    branch:append_text(": " .. table.concat(names, ", "))
    branch:add(fields.text, text)
    if text:len() < length then
        branch:add_proto_expert_info(cut)
    else
        Dissector.get("json"):call(text:tvb(), pinfo, branch)
    end
    add_info(pinfo, table.concat(names, ", "))
end

-- In the files of "vantry capture" each packet is a frame. The flags of the packet have its direction.
local direction = Field.new("frame.packet_flags_direction")
function captured.dissector(buffer, pinfo, tree)
    local way = direction()
    info = way and (way.value == 1 and "to the hub:" or "from the hub:") or ""
    if is_frame(buffer) and buffer:len() >= HEAD then
        dissect_frame(buffer, pinfo, tree)
    else
        dissect_junk(buffer, pinfo, tree)
    end
    return buffer:len()
end

-- Over TCP the frames are put together from the segments.
function vantry.dissector(buffer, pinfo, tree)
    info = pinfo.dst_port == PORT and "to the hub:" or "from the hub:"
    local at = 0
    while at < buffer:len() do
        local rest = buffer(at):tvb()
        local needed = HEAD
        if rest:len() >= HEAD then
            needed = is_frame(rest) and HEAD + rest(#MAGIC, 4):le_uint() or #MAGIC
        end
        if rest:len() < needed and pinfo.can_desegment > 0 then
            pinfo.desegment_offset = at
            pinfo.desegment_len = rest:len() < HEAD and DESEGMENT_ONE_MORE_SEGMENT or needed - rest:len()
            return buffer:len()
        end
        local whole = buffer(at, math.min(needed, rest:len())):tvb()
        if is_frame(rest) and rest:len() >= HEAD then
            dissect_frame(whole, pinfo, tree)
        else
            dissect_junk(whole, pinfo, tree)
        end
        at = at + whole:len()
    end
    return buffer:len()
end

DissectorTable.get("tcp.port"):add(PORT, vantry)
DissectorTable.get("wtap_encap"):add(wtap.USER0, captured)
