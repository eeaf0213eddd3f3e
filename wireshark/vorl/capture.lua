-- What is known of a capture from its earlier packets: descriptions, and the parts of frames that were split. Wireshark dissects
-- packets a second time, and in any order, so everything is kept by the number of the packet that it came in.
return function(part)
    local model = part("model")
    local capture = {}

    local descriptions -- by identifier: a list of { number, description, message }, by number
    local pending -- the frame of which parts are awaited
    local places -- by packet: where it is in a split frame

    function capture.forget()
        descriptions, pending, places = {}, nil, {}
    end
    capture.forget()

    -- The last description of an identifier before a packet, or nil.
    local function last_before(identifier, number)
        local all = descriptions[identifier] or {}
        for i = #all, 1, -1 do
            if all[i].number < number then
                return all[i]
            end
        end
        return nil
    end

    function capture.describe(number, described, known)
        local all = descriptions[described.identifier] or {}
        descriptions[described.identifier] = all
        if #all > 0 and all[#all].number >= number then
            return
        end
        local message = model.described(described, function(identifier)
            local found = last_before(identifier, number)
            return known[identifier] or (found and found.message)
        end)
        all[#all + 1] = { number = number, description = described, message = message }
    end

    -- What a description before the packet says the identifier is, or nil.
    function capture.message_of(identifier, number)
        local found = last_before(identifier, number)
        return found and found.message
    end

    -- The label of a slot, or nil. A slot that the description has otherwise is not the same.
    function capture.label_of(message, slot, number)
        local found = last_before(message.identifier, number)
        local described = found and found.description.slots[slot.index + 1]
        if not described or described.width ~= slot.width or described.count ~= slot.count then
            return nil
        end
        return described.label
    end

    local function add_part(number, head, raw)
        if head.part_at == 0 then
            pending = { process = head.process, number = head.number, kept = head.kept, size = 0, first = number, parts = {} }
        end
        local continues = pending and pending.process == head.process and pending.number == head.number
            and pending.kept == head.kept and pending.size == head.part_at
        if not continues or #raw == 0 then
            pending = nil
            return { is_lost = true }
        end
        local frame = pending
        frame.parts[#frame.parts + 1] = raw
        frame.size = frame.size + #raw
        if frame.size == frame.kept then
            frame.raw = table.concat(frame.parts)
            frame.parts = nil
            frame.last = number
            pending = nil
        end
        return { frame = frame }
    end

    -- A whole frame: parts of another one do not go on behind it.
    function capture.ends_parts()
        pending = nil
    end

    -- Of a packet that has not all the kept bytes of its frame. Where the packets of a frame follow each other, `frame` of
    -- the result is that frame, with the packets `first` and `last`, and in the last of them its bytes `raw`; otherwise
    -- `is_lost`.
    function capture.part(number, head, raw)
        if not places[number] then
            places[number] = add_part(number, head, raw)
        end
        return places[number]
    end

    return capture
end
