-- The fields that filters name: those of the header, of the bytes, and one of each slot.
return function(part)
    local model = part("model")
    local fields = { all = {} }

    local function add(field)
        fields.all[#fields.all + 1] = field
        return field
    end

    local directions = { [1] = "sent", [2] = "received" }
    local kinds = { [1] = "frame", [2] = "description" }

    fields.header = {
        version = add(ProtoField.uint8("vorl.version", "version")),
        kind = add(ProtoField.uint8("vorl.kind", "kind of packet", base.DEC, kinds)),
        header_length = add(ProtoField.uint16("vorl.header_length", "length of the header")),
        direction = add(ProtoField.uint8("vorl.direction", "direction", base.DEC, directions)),
        known = add(ProtoField.uint8("vorl.known", "what is known", base.HEX)),
        redacted = add(ProtoField.bool("vorl.redacted", "addresses were replaced", 8, nil, 16)),
        process = add(ProtoField.uint32("vorl.process", "process")),
        thread = add(ProtoField.uint32("vorl.thread", "thread")),
        destination = add(ProtoField.uint32("vorl.destination", "destination")),
        handle = add(ProtoField.uint64("vorl.handle", "explicit handle", base.HEX)),
        identifier = add(ProtoField.uint32("vorl.identifier", "identifier", base.HEX)),
        result = add(ProtoField.uint32("vorl.result", "result of the bus call", base.HEX)),
        length = add(ProtoField.uint32("vorl.length", "length of the frame")),
        kept = add(ProtoField.uint32("vorl.kept", "length kept")),
        number = add(ProtoField.uint64("vorl.number", "number in its process")),
        part_at = add(ProtoField.uint32("vorl.part_at", "these bytes belong at")),
        index = add(ProtoField.uint32("vorl.index", "which frame of its send")),
        of_send = add(ProtoField.uint32("vorl.of_send", "frames of that send")),
        slots = add(ProtoField.uint32("vorl.slots", "number of slots")),
    }
    fields.message = add(ProtoField.string("vorl.message", "message"))
    fields.cut = add(ProtoField.bool("vorl.cut", "not all bytes of the frame are here"))
    fields.whole_in = add(ProtoField.framenum("vorl.whole_in", "the whole frame is shown in packet"))
    fields.first_part = add(ProtoField.framenum("vorl.first_part", "the frame begins in packet"))
    fields.bytes = add(ProtoField.bytes("vorl.bytes", "bytes"))
    fields.described = add(ProtoField.string("vorl.described", "slot"))

    fields.refused = add(ProtoField.bool("vorl.refused", "refused by a receiver"))
    fields.check = {
        text = add(ProtoField.string("vorl.check", "why")),
        rule = add(ProtoField.string("vorl.check.rule", "check that fails")),
        at = add(ProtoField.uint32("vorl.check.at", "offset of the faulty bytes")),
        member = add(ProtoField.string("vorl.check.member", "member")),
    }

    fields.wire = {
        root = add(ProtoField.uint32("vorl.wire.root", "root offset")),
        table = add(ProtoField.none("vorl.wire.table", "table")),
        soffset = add(ProtoField.int32("vorl.wire.soffset", "soffset")),
        vtable = add(ProtoField.none("vorl.wire.vtable", "vtable")),
        vtable_length = add(ProtoField.uint16("vorl.wire.vtable_length", "vtable length")),
        table_length = add(ProtoField.uint16("vorl.wire.table_length", "table length (not checked by readers)")),
        entry = add(ProtoField.uint16("vorl.wire.entry", "entry")),
        field = add(ProtoField.none("vorl.wire.field", "field")),
        offset = add(ProtoField.uint32("vorl.wire.offset", "offset")),
        count = add(ProtoField.uint32("vorl.wire.count", "count")),
        absent = add(ProtoField.string("vorl.wire.absent", "absent")),
    }

    -- Slots of messages that only the capture describes. Fields have to be there before a capture is opened.
    fields.of_described = {
        scalar = add(ProtoField.uint64("vorl.value", "value")),
        address = add(ProtoField.ipv6("vorl.value.address", "address")),
        bytes = add(ProtoField.bytes("vorl.value.bytes", "bytes")),
        tables = add(ProtoField.none("vorl.value.tables", "tables")),
        count = add(ProtoField.uint32("vorl.value.count", "count")),
    }

    local scalars = { [1] = ProtoField.uint8, [2] = ProtoField.uint16, [4] = ProtoField.uint32, [8] = ProtoField.uint64 }

    local function of_slot(message, slot)
        local name = "vorl." .. message.name .. "." .. slot.name
        if slot.nested then
            local count = slot.shape ~= "table" and add(ProtoField.uint32(name .. ".count", slot.name .. " count"))
            return { tables = add(ProtoField.none(name, slot.name)), count = count }
        elseif slot.shape == "scalar" or (slot.shape == "array" and slot.width == 4 and slot.count ~= 4) then
            return { scalar = add(scalars[slot.width](name, slot.name)) }
        elseif model.is_address(slot) then
            return { address = add(ProtoField.ipv6(name, slot.name)) }
        end
        return { bytes = add(ProtoField.bytes(name, slot.name)) }
    end

    local of_message = {}

    function fields.add_messages(known)
        for _, message in pairs(known) do
            local of_slots = {}
            for _, slot in ipairs(message.slots) do
                of_slots[slot] = of_slot(message, slot)
            end
            of_message[message] = of_slots
        end
    end

    -- The fields of a slot: one of scalar, address, bytes, tables; of lists of tables also count.
    function fields.of(message, slot)
        return of_message[message] and of_message[message][slot] or fields.of_described
    end

    return fields
end
