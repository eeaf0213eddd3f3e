-- The header of a captured packet (docs/capture.md, "The capture file"), read and shown.
return function(part)
    local bytes = part("bytes")
    local fields = part("fields")
    local packet = {}

    packet.frame, packet.description = 1, 2

    local common_length = 8
    local least_length = { [packet.frame] = 72, [packet.description] = 16 }
    local directions = { [1] = "sent", [2] = "received" }

    -- Bits of what is known.
    local destination_known, handle_given, result_known, identifier_known = 1, 2, 4, 8

    -- Members of a frame's header: offset, size, the bit without which they are not known.
    local members = {
        { "direction", 8, 1 }, { "known", 9, 1 }, { "redacted", 9, 1 }, { "process", 12, 4 }, { "thread", 16, 4 },
        { "destination", 20, 4, destination_known }, { "handle", 24, 8, handle_given },
        { "identifier", 32, 4, identifier_known }, { "result", 36, 4, result_known }, { "length", 40, 4 },
        { "kept", 44, 4 }, { "number", 48, 8 }, { "part_at", 56, 4 }, { "index", 60, 4 }, { "of_send", 64, 4 },
    }

    local function knows(head, what)
        return math.floor(head.known / what) % 2 == 1
    end

    local function frame_head(raw, head)
        local function word(at) return bytes.word(raw, at) end
        head.direction = directions[raw:byte(9)]
        head.known = raw:byte(10)
        head.process = word(12)
        head.destination = knows(head, destination_known) and word(20) or nil
        head.identifier = knows(head, identifier_known) and word(32) or nil
        head.length = word(40)
        head.kept = word(44)
        head.number = raw:sub(49, 56)
        head.part_at = word(56)
        local left = #raw - head.header_length
        if not head.direction then
            return nil, ("its direction is %d, and there are 1, sent, and 2, received"):format(raw:byte(9))
        elseif head.kept > head.length then
            return nil, ("it keeps %s bytes of a frame of %s"):format(bytes.decimal(head.kept), bytes.decimal(head.length))
        elseif head.part_at > head.kept or left > head.kept - head.part_at then
            return nil, ("its bytes go past the %s that are kept"):format(bytes.decimal(head.kept))
        end
        return head
    end

    -- The header of a packet's bytes; nil and what is wrong: it cannot be read.
    function packet.parse(raw)
        if #raw < common_length or raw:sub(1, 4) ~= "VORL" then
            return nil, "it has no header of a captured frame"
        end
        local head = { kind = raw:byte(6), header_length = bytes.half(raw, 6) }
        if raw:byte(5) ~= 1 then
            return nil, ("its header is of version %d, and this dissector reads version 1"):format(raw:byte(5))
        end
        local least = least_length[head.kind] or common_length
        if head.header_length < least or head.header_length > #raw then
            return nil, ("its header has %d bytes, and what is possible is %d to %d"):format(head.header_length, least, #raw)
        end
        if head.kind == packet.frame then
            return frame_head(raw, head)
        elseif head.kind == packet.description then
            head.identifier = bytes.word(raw, 8)
            head.slots = bytes.word(raw, 12)
        end
        return head
    end

    function packet.add(tree, tvb, head)
        local item = tree:add(tvb(0, head.header_length), "header")
        local function add(name, at, size)
            item:add_le(fields.header[name], tvb(at, size))
        end
        add("version", 4, 1)
        add("kind", 5, 1)
        add("header_length", 6, 2)
        if head.kind == packet.frame then
            for _, member in ipairs(members) do
                if not member[4] or knows(head, member[4]) then
                    add(member[1], member[2], member[3])
                end
            end
        elseif head.kind == packet.description then
            add("identifier", 8, 4)
            add("slots", 12, 4)
        end
    end

    return packet
end
