-- The dissector `vorl`, of frames that were captured from processes (docs/wireshark.md). This file is what Wireshark is to
-- load; its parts stand beside it. Each returns a function that makes it, so that it does nothing where Wireshark
-- loads all files of a directory.
local here = debug.getinfo(1, "S").source:match("^@(.*[/\\])") or ""
local parts = {}

local function part(name)
    if parts[name] == nil then
        local load = dofile(here .. name .. ".lua")
        parts[name] = load(part)
    end
    return parts[name]
end

local is_first, vorl = pcall(Proto.new, "vorl", "vorl frame")
if not is_first then
    io.stderr:write("vorl: a dissector of this name is there already, so ", here, "init.lua is not loaded; remove one\n")
    return
end

local bytes = part("bytes")
local model = part("model")
local reader = part("reader")
local description = part("description")
local capture = part("capture")
local packet = part("packet")
local fields = part("fields")
local verdict = part("verdict")
local values = part("values")
local wire = part("wire")

-- Wireshark refuses a packet with more than a million items.
local most_items = 20000

local known = model.known(dofile(here .. "messages.lua"))
fields.add_messages(known)
vorl.fields = fields.all
vorl.experts = verdict.experts

function vorl.init()
    capture.forget()
end

local function add_views(tree, tvb, root, number)
    for _, view in ipairs({ values, wire }) do
        view.add({
            range = function(at, size) return at and tvb(at, size) or tvb() end,
            raw = tvb:raw(),
            number = number,
            items = 0,
            most_items = most_items,
        }, tree, root)
    end
end

local function add_bytes(tree, tvb)
    if tvb:len() > 0 then
        tree:add(fields.bytes, tvb())
    end
end

-- The bytes of a frame, all that are kept. Empty ones have no Tvb.
local function dissect_frame(tree, tvb, head, pinfo)
    local raw = tvb and tvb:raw() or ""
    local identifier = head.identifier
    local message = identifier and (known[identifier] or capture.message_of(identifier, pinfo.number))
    if not message then
        verdict.problem(tree, "unknown_message", not identifier and "the tap could not tell which message it is" or nil)
        if tvb then
            add_bytes(tree, tvb)
        end
        return identifier and "message " .. bytes.offset_text(identifier) or "a message that is not known"
    end
    tree:add(fields.message, message.name):set_generated()
    local root, refusal, gave_up = reader.read(message, raw)
    local info = message.name
    if #raw < head.length then
        tree:add(fields.cut, true):set_generated()
        verdict.problem(tree, "cut", ("%s of %s bytes are here"):format(bytes.decimal(#raw), bytes.decimal(head.length)))
        info = info .. ", cut"
    elseif gave_up then
        verdict.problem(tree, "gave_up")
    else
        verdict.add(tree, tvb or function() end, refusal)
        info = info .. (refusal and ", refused: " .. refusal.rule or "")
    end
    if root then
        add_views(tree, tvb, root, pinfo.number)
    elseif tvb then
        add_bytes(tree, tvb)
    end
    return info
end

local function add_part(tree, tvb, head, pinfo)
    local found = capture.part(pinfo.number, head, tvb and tvb:raw() or "")
    local frame = found.frame
    if frame and frame.last == pinfo.number then
        if frame.first ~= pinfo.number then
            tree:add(fields.first_part, frame.first):set_generated()
        end
        return dissect_frame(tree, ByteArray.new(frame.raw, true):tvb("frame"), head, pinfo)
    end
    if tvb then
        add_bytes(tree, tvb)
    end
    if frame and frame.last then
        tree:add(fields.whole_in, frame.last):set_generated()
    elseif found.is_lost then
        verdict.problem(tree, "lost_parts")
    end
    return "part of a frame of " .. bytes.decimal(head.kept) .. " bytes, at " .. bytes.decimal(head.part_at)
end

local function add_frame(tree, tvb, head, pinfo)
    local has_all = head.part_at == 0 and (tvb and tvb:len() or 0) == head.kept
    if not has_all then
        return add_part(tree, tvb, head, pinfo)
    end
    if not pinfo.visited then
        capture.ends_parts()
    end
    return dissect_frame(tree, tvb, head, pinfo)
end

local function add_description(tree, tvb, head, pinfo)
    local described = tvb and description.parse(head.identifier, head.slots, tvb:raw())
    if not described then
        verdict.problem(tree, "damaged", "the description ends too early, or has more slots than a message")
        return "damaged description"
    end
    capture.describe(pinfo.number, described, known)
    tree:add(fields.message, described.name):set_generated()
    for i, slot in ipairs(described.slots) do
        local label = slot.label
        local item = tree:add(fields.described, slot.name)
        item:append_text(label.name == "" and "" or ", label " .. label.name)
        item:append_text(label.unit == "" and "" or ", unit " .. label.unit)
        item:append_text((", shape %d, width %d, count %s"):format(slot.shape, slot.width, bytes.decimal(slot.count)))
        if i == 256 then
            break
        end
    end
    return "description of " .. described.name
end

function vorl.dissector(tvb, pinfo, tree)
    local item = tree:add(vorl, tvb())
    pinfo.cols.protocol = "VORL"
    local head, wrong = packet.parse(tvb:raw())
    if not head then
        verdict.problem(item, "damaged", wrong)
        pinfo.cols.info = "damaged: " .. wrong
        return tvb:len()
    end
    packet.add(item, tvb, head)
    local left = tvb:len() - head.header_length
    local rest = left > 0 and tvb(head.header_length):tvb() or nil
    local info
    if head.kind == packet.frame then
        info = add_frame(item, rest, head, pinfo)
        info = info .. ", " .. head.direction
        if head.destination then
            info = info .. " to " .. bytes.decimal(head.destination)
        end
        info = info .. ", " .. bytes.decimal(head.length) .. " bytes, process " .. bytes.decimal(head.process)
    elseif head.kind == packet.description then
        info = add_description(item, rest, head, pinfo)
    else
        verdict.problem(item, "unknown_kind")
        info = "packet of kind " .. head.kind
    end
    item:append_text(", " .. info)
    pinfo.cols.info = info
    return tvb:len()
end
