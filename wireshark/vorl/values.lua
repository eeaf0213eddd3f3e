-- The view of a frame's values: the record that a receiver gets. Absent slots, and those that are not read because
-- something before them is refused, are shown with the zero that they have in the record, as generated items.
return function(part)
    local bytes = part("bytes")
    local model = part("model")
    local fields = part("fields")
    local labels = part("labels")
    local capture = part("capture")
    local values = {}

    -- More numbers of an array are not shown.
    local most_numbers = 256

    local zeros = {
        [1] = 0, [2] = 0, [4] = 0,
        [8] = UInt64(0, 0),
    }

    -- Where a slot's bytes are: offset and size; nil: nowhere.
    local function place_of(slot, kept)
        if not kept.at or kept.is_refused then
            return nil
        elseif slot.shape == "scalar" then
            return kept.at, slot.width
        elseif slot.shape ~= "table" and kept.elements then
            return kept.elements, kept.count * model.element_size(slot)
        end
        return nil
    end

    -- In fields of messages that only the capture knows, items begin with the slot's name.
    local function named(item, field, slot)
        if field == fields.of_described then
            item:set_text(slot.name .. ": " .. item.text:gsub("^[^:]*: ", "", 1))
        end
        return item
    end

    local function add_label(view, item, node, slot, at, size)
        local label = capture.label_of(node.message, slot, view.number)
        if not label then
            return
        end
        if not at then
            if label.name ~= "" then
                item:append_text(" [" .. label.name .. "]")
            end
            return
        end
        local holder = node.message.slots[label.length_slot + 1]
        local kept = holder and holder.shape == "scalar" and node.slots[label.length_slot + 1]
        local length_at = kept and kept.at and not kept.is_refused and kept.at
        local length = kept and "\0" or nil
        if length_at then
            length = view.raw:sub(length_at + 1, length_at + holder.width)
        end
        item:append_text(labels.text(label, slot, view.raw:sub(at + 1, at + size), length))
    end

    local function add_zero(view, tree, node, slot, why)
        local field = fields.of(node.message, slot)
        local item
        if field.scalar and slot.shape == "scalar" then
            item = tree:add(field.scalar, field == fields.of_described and zeros[8] or zeros[slot.width])
        elseif field.address and model.is_address(slot) then
            item = tree:add(field.address, Address.ipv6("::"))
        elseif slot.nested and slot.shape ~= "table" then
            item = tree:add(field.count, 0)
        else
            item = tree:add(slot.name .. ": " .. (slot.is_vector and "empty" or "zero"))
        end
        item:set_generated()
        named(item, field, slot)
        item:append_text(" (" .. why .. ")")
        add_label(view, item, node, slot)
        view.items = view.items + 1
    end

    local function add_numbers(view, tree, slot, field, kept)
        local shown = math.min(kept.count, most_numbers)
        for i = 0, shown - 1 do
            local item = tree:add_le(field.scalar, view.range(kept.elements + slot.width * i, slot.width))
            item:prepend_text(("[%d] "):format(i))
        end
        view.items = view.items + shown
        if kept.count > shown then
            tree:add("and " .. bytes.decimal(kept.count - shown) .. " more, which are not shown")
        end
        return tree
    end

    local function add_bytes(view, tree, slot, field, kept)
        local size = kept.count * slot.width
        if size == 0 then
            return tree:add(view.range(kept.body, 4), slot.name .. ": empty")
        end
        return tree:add(field.bytes, view.range(kept.elements, size))
    end

    local add_tables

    local function add_slot(view, tree, node, slot, kept)
        local field = fields.of(node.message, slot)
        local at, size = place_of(slot, kept)
        local item
        view.items = view.items + 1
        if slot.nested then
            item = add_tables(view, tree, slot, field, kept)
        elseif slot.shape == "scalar" then
            item = tree:add_le(field.scalar, view.range(at, size))
        elseif field.address and model.is_address(slot) then
            item = tree:add(field.address, view.range(at, size))
        elseif field.scalar and slot.shape == "array" and slot.width > 1 then
            item = tree:add(view.range(kept.body, 4 + size), slot.name)
            add_numbers(view, item, slot, field, kept)
        else
            item = add_bytes(view, tree, slot, field, kept)
        end
        named(item, field, slot)
        add_label(view, item, node, slot, at, size)
    end

    local function add_table(view, tree, node)
        for i, slot in ipairs(node.message.slots) do
            if view.items > view.most_items then
                tree:add("more than is shown of a frame")
                return
            end
            local kept = node.slots[i]
            if not kept then
                add_zero(view, tree, node, slot, "not read")
            elseif kept.is_absent then
                add_zero(view, tree, node, slot, "absent")
            elseif kept.is_refused then
                add_zero(view, tree, node, slot, "refused")
            else
                add_slot(view, tree, node, slot, kept)
            end
        end
    end

    function add_tables(view, tree, slot, field, kept)
        local item
        if slot.shape == "table" then
            item = tree:add(field.tables, view.range(kept.at, 4))
        else
            item = tree:add(field.tables, view.range(kept.body, 4 + 4 * kept.count))
            item:add_le(field.count, view.range(kept.body, 4))
        end
        item:set_text(slot.name .. ": " .. model.type_text(slot))
        for _, node in ipairs(kept.tables or {}) do
            if view.items > view.most_items then
                break
            end
            view.items = view.items + 1
            local inner = item
            if slot.shape ~= "table" then
                inner = item:add(view.range(node.word_at, 4), ("%s[%d]"):format(slot.name, node.element))
            end
            add_table(view, inner, node)
        end
        local hidden = (kept.count or 1) - #(kept.tables or {})
        if hidden > 0 then
            item:add("and " .. bytes.decimal(hidden) .. " more, which are not shown")
        end
        return item
    end

    -- view: range (of the frame's bytes), raw, number (of the packet), items (so far), most_items.
    function values.add(view, tree, root)
        local item = tree:add(view.range(), root.message.name)
        item:append_text(", its values")
        add_table(view, item, root)
    end

    return values
end
