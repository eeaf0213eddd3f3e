-- Reads a frame as a receiver does: the checks of serial/plain/read.h, in their order, up to the first that fails.
-- What was read is kept as tables of Lua, of which both views are made:
--
--   table: message, at, word_at (of the word that leads to it), element (its number), is_inside, vtable,
--          vtable_length, is_cut (the vtable is), slots (those that were read)
--   slot:  entry_at, entry (nil: the vtable ends before it), is_absent, at (of its field), body (of its count),
--          elements, count, tables, is_refused
--
-- No more of a list is kept than `most_elements`, and no more tables than `most_tables`; all are checked. What was read
-- once reads the same again, so a table that many elements lead to is checked once. Lists within lists may overlap, so that
-- reading them takes far longer than their bytes are long; past a million elements the reader then gives up, which is no verdict.
return function(part)
    local bytes = part("bytes")
    local model = part("model")
    local refusals = part("refusals")
    local word, half = bytes.word, bytes.half
    local word_size, entry_size = bytes.word_size, bytes.entry_size

    local reader = { most_elements = 256, most_tables = 2048 }

    local count_limit = 1073741824 -- elements of a list: fewer
    local spare_steps = 1000000 -- more elements than there are bytes
    local read_tables

    -- "f1[3].f6": where a table, or with a slot a member of it, is.
    local function path_text(path, slot)
        local text = slot and slot.name or ""
        while path do
            local element = path.slot.name
            if path.slot.shape ~= "table" then
                element = element .. "[" .. bytes.decimal(path.element) .. "]"
            end
            text = element .. (text == "" and "" or "." .. text)
            path = path.up
        end
        return text
    end

    local function refuse(run, refusal, path, slot)
        refusal.member = path_text(path, slot)
        run.refusal = refusal
        return false
    end

    local function refuse_slot(run, refusal, path, slot, kept)
        kept.is_refused = true
        return refuse(run, refusal, path, slot)
    end

    local function read_slot(run, node, slot, path, keeps)
        local raw, length = run.raw, run.length
        local kept = {}
        if keeps then
            node.slots[slot.index + 1] = kept
        end
        local entry_at = 4 + 2 * slot.index
        if node.vtable_length < entry_at + entry_size then
            kept.is_absent = true
            return true
        end
        kept.entry_at = node.vtable + entry_at
        kept.entry = half(raw, kept.entry_at)
        if kept.entry == 0 then
            kept.is_absent = true
            return true
        end
        local at = node.at + kept.entry
        if kept.entry + model.field_size(slot) > length - node.at then
            return refuse_slot(run, refusals.field(slot, kept.entry_at, at, length), path, slot, kept)
        end
        kept.at = at
        if slot.shape == "scalar" then
            return true
        end
        if slot.shape == "table" then
            return read_tables(run, slot, kept, at, 1, path, keeps)
        end

        local offset = word(raw, at)
        if offset > length - at or word_size > length - at - offset then
            return refuse_slot(run, refusals.body(at, at + offset, length), path, slot, kept)
        end
        local body = at + offset
        local elements = body + word_size
        local count = word(raw, body)
        kept.body = body
        if count >= count_limit or count * model.element_size(slot) > length - elements then
            return refuse_slot(run, refusals.elements(slot, body, count, length), path, slot, kept)
        end
        if not slot.is_vector and count ~= slot.count then
            return refuse_slot(run, refusals.count(slot, body, count), path, slot, kept)
        end
        kept.elements = elements
        kept.count = count
        if slot.is_vector and count * (slot.nested and slot.nested.record_size or 1) >= bytes.two_to_32 then
            return refuse_slot(run, refusals.memory(body, count), path, slot, kept)
        end
        if slot.nested then
            return read_tables(run, slot, kept, elements, count, path, keeps)
        end
        return true
    end

    local function read_table(run, node, path, keeps)
        local raw, length, message = run.raw, run.length, node.message
        local last = length - word_size
        if node.at < word_size or node.at > last then
            return refuse(run, refusals.table_position(message, node.word_at, node.at, last), path)
        end
        -- Positions wrap at 32 bits.
        local vtable = (node.at - word(raw, node.at)) % bytes.two_to_32
        node.is_inside = true
        if vtable < word_size or vtable > last then
            return refuse(run, refusals.vtable_position(message, node.at, vtable, last), path)
        end
        local vtable_length = half(raw, vtable)
        node.vtable = vtable
        node.vtable_length = vtable_length
        if vtable_length > length - vtable then
            node.vtable_length = 0
            node.is_cut = true
            return refuse(run, refusals.vtable_length(message, vtable, vtable_length, length - vtable), path)
        end
        for _, slot in ipairs(message.slots) do
            if not read_slot(run, node, slot, path, keeps) then
                return false
            end
        end
        return true
    end

    -- The tables that `count` words lead to. `kept` is the slot that has them.
    function read_tables(run, slot, kept, words, count, path, keeps)
        local passed = run.passed[slot.nested] or {}
        run.passed[slot.nested] = passed
        kept.tables = {}
        for i = 0, count - 1 do
            run.steps = run.steps + 1
            if run.steps > run.most_steps then
                run.gave_up = true
                return false
            end
            local word_at = words + word_size * i
            local offset = word(run.raw, word_at)
            local at = word_at + offset
            local keeps_it = keeps and i < reader.most_elements and run.tables < reader.most_tables
            if at >= bytes.two_to_32 then
                return refuse(run, refusals.element_position(word_at, offset), { up = path, slot = slot, element = i })
            end
            if keeps_it or not passed[at] then
                local node = { message = slot.nested, at = at, word_at = word_at, element = i, slots = {} }
                if keeps_it then
                    run.tables = run.tables + 1
                    kept.tables[#kept.tables + 1] = node
                end
                if not read_table(run, node, { up = path, slot = slot, element = i }, keeps_it) then
                    return false
                end
                passed[at] = true
            end
        end
        return true
    end

    -- What a receiver makes of these bytes: root (nil: there are too few bytes for one), refusal (nil: accepted),
    -- gave_up.
    function reader.read(message, raw)
        local run = { raw = raw, length = #raw, passed = {}, tables = 0, steps = 0, most_steps = #raw + spare_steps }
        if run.length < word_size then
            refuse(run, refusals.length(run.length))
            return nil, run.refusal, false
        end
        local root = { message = message, at = word(raw, 0), word_at = 0, slots = {} }
        read_table(run, root, nil, true)
        return root, run.refusal, run.gave_up or false
    end

    return reader
end
