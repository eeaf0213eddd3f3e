-- The descriptions of a capture (docs/capture.md, "A description"): what an identifier is, and the labels of its slots.
return function(part)
    local bytes = part("bytes")
    local description = {}

    -- Takes numbers and texts from bytes; none past their end, where all further ones are nil.
    local function taker(raw)
        local at = 0
        local taker_of = {}
        function taker_of.take(size)
            if not size or size > #raw - at then
                at = #raw + 1
                return nil
            end
            at = at + size
            return raw:sub(at - size + 1, at)
        end
        function taker_of.byte()
            local taken = taker_of.take(1)
            return taken and taken:byte()
        end
        function taker_of.word()
            local taken = taker_of.take(4)
            return taken and bytes.word(taken, 0)
        end
        function taker_of.text()
            local length = taker_of.take(2)
            return taker_of.take(length and bytes.half(length, 0))
        end
        return taker_of
    end

    local function take_slot(raw)
        local from = taker(raw)
        local slot = { shape = from.byte(), width = from.byte() }
        local label = { form = from.byte(), since_start = from.byte() == 1, names = {} }
        slot.count = from.word()
        slot.nested = from.word()
        label.locator = from.word()
        label.argument_at = from.word()
        label.length_slot = from.word()
        slot.name = from.text()
        label.name = from.text()
        label.unit = from.text()
        for _ = 1, from.word() or 0 do
            local value = from.take(8)
            local name = from.text()
            if not name then
                return nil
            end
            label.names[value] = name
        end
        if not label.unit then
            return nil
        end
        label.argument_at = label.locator + label.argument_at
        slot.label = label
        return slot
    end

    -- Of the bytes behind the header; nil: they are damaged.
    function description.parse(identifier, slots, raw)
        local from = taker(raw)
        local parsed = { identifier = identifier, name = from.text(), slots = {} }
        if not parsed.name or slots > 256 then
            return nil
        end
        for i = 1, slots do
            local slot = from.take(from.word())
            parsed.slots[i] = slot and take_slot(slot)
            if not parsed.slots[i] then
                return nil
            end
        end
        return parsed
    end

    return description
end
