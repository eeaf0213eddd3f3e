-- What a message is: its slots, of those of tables the message of the table. Made of the data that idlc writes, or of
-- a description in a capture.
--
-- A message: name, identifier, record_size, slots, levels (of tables within each other), owns_memory (it, or a table within,
-- has a vector).
-- A slot: name, index (from 0), shape, width, count, nested (a message), is_vector.
return function(part)
    local bytes = part("bytes")
    local model = {}

    -- What a capture describes may be anything; docs/format.md, "Limits", has the first two.
    local most_levels = 32
    local most_slots = 256
    local largest_record = 16777216
    local largest_element = 65536 -- of a vector

    local shapes = { [0] = "scalar", "array", "table", "table_array", "byte_vector", "table_vector" }
    local is_table = { table = true, table_array = true, table_vector = true }
    local is_array = { array = true, table_array = true }
    local is_vector = { byte_vector = true, table_vector = true }

    local function finish(message)
        message.levels = 1
        message.owns_memory = false
        for _, slot in ipairs(message.slots) do
            slot.is_vector = is_vector[slot.shape] or false
            message.owns_memory = message.owns_memory or slot.is_vector
            if slot.nested then
                message.levels = math.max(message.levels, slot.nested.levels + 1)
                message.owns_memory = message.owns_memory or slot.nested.owns_memory
            end
        end
        return message
    end

    -- Messages by identifier. In the data each stands behind those that it refers to.
    function model.known(data)
        local known = {}
        for _, given in ipairs(data) do
            local slots = {}
            for i, slot in ipairs(given.slots) do
                slots[i] = {
                    name = slot[1],
                    index = i - 1,
                    shape = slot[2],
                    width = slot[3],
                    count = slot[4],
                    nested = known[slot[5]],
                }
            end
            known[given.identifier] = finish({
                name = given.name,
                identifier = given.identifier,
                record_size = given.record_size,
                slots = slots,
            })
        end
        return known
    end

    local function is_possible(slot, shape)
        local width = slot.width
        local has_width = width == 1 or width == 2 or width == 4 or width == 8
        if is_table[shape] then
            has_width = width == 0
        end
        return has_width and (is_array[shape] or false) == (slot.count ~= 0)
    end

    -- Whether a slot of that shape may have tables of a message. Elements own no memory (docs/idl.md).
    local function may_hold(shape, nested)
        if not nested or nested.levels >= most_levels then
            return false
        elseif shape == "table" then
            return true
        end
        return not nested.owns_memory and (shape ~= "table_vector" or nested.record_size <= largest_element)
    end

    -- The message that a description is of; nil where it is none that a reader reads: names that no record has, tables
    -- of messages that are not known or may not be there, or a record that is too large.
    function model.described(description, find)
        local slots = {}
        local record_size = 0
        if #description.slots == 0 or #description.slots > most_slots or not description.name:match("^[%w_]+$") then
            return nil
        end
        for i, given in ipairs(description.slots) do
            local shape = shapes[given.shape]
            if not shape or not is_possible(given, shape) or not given.name:match("^[%w_]+$") then
                return nil
            end
            local nested = is_table[shape] and find(given.nested) or nil
            if is_table[shape] and not may_hold(shape, nested) then
                return nil
            end
            -- Each member at a multiple of 8, a vector's count and pointer 16 bytes.
            local size = nested and nested.record_size or given.width
            size = is_vector[shape] and 16 or math.ceil(size * math.max(given.count, 1) / 8) * 8
            record_size = record_size + size
            if record_size > largest_record then
                return nil
            end
            slots[i] = {
                name = given.name,
                index = i - 1,
                shape = shape,
                width = given.width,
                count = given.count,
                nested = nested,
            }
        end
        return finish({
            name = description.name,
            identifier = description.identifier,
            record_size = record_size,
            slots = slots,
        })
    end

    -- Bytes of a slot in the fields of its table.
    function model.field_size(slot)
        return slot.shape == "scalar" and slot.width or bytes.word_size
    end

    -- Bytes of an element behind a count.
    function model.element_size(slot)
        return slot.nested and bytes.word_size or slot.width
    end

    function model.is_address(slot)
        return slot.shape == "array" and slot.width * slot.count == 16 and slot.width ~= 8
    end

    -- The wire type as descriptions write it: "array<uint32, 4>".
    function model.type_text(slot)
        local element = slot.nested and "table " .. slot.nested.name or ("uint%d"):format(slot.width * 8)
        if is_array[slot.shape] then
            return ("array<%s, %s>"):format(element, bytes.decimal(slot.count))
        end
        return slot.is_vector and "vector<" .. element .. ">" or element
    end

    return model
end
