-- The view of a frame's bytes: root offset, tables with their vtables, entries, offset words, counts.
return function(part)
    local bytes = part("bytes")
    local model = part("model")
    local fields = part("fields")
    local wire = {}
    local field = fields.wire

    local function to(offset)
        return " (to " .. bytes.offset_text(offset) .. ")"
    end

    local function add_vtable(view, tree, node)
        local message = node.message
        local length = math.max(4, node.vtable_length)
        local vtable = tree:add(field.vtable, view.range(node.vtable, node.is_cut and 2 or length))
        vtable:set_text("vtable at " .. bytes.offset_text(node.vtable))
        vtable:add_le(field.vtable_length, view.range(node.vtable, 2))
        view.items = view.items + 3
        if node.is_cut then
            return
        end
        vtable:add_le(field.table_length, view.range(node.vtable + 2, 2))
        for i, slot in ipairs(message.slots) do
            local kept = node.slots[i]
            local name = message.name .. "." .. slot.name
            view.items = view.items + 2
            if kept and kept.entry then
                local entry = vtable:add_le(field.entry, view.range(kept.entry_at, 2))
                entry:set_text(("entry of %s: %d"):format(slot.name, kept.entry))
                if kept.is_absent then
                    entry:append_text(", absent")
                    entry:add(field.absent, name):set_hidden()
                else
                    entry:append_text(to(node.at + kept.entry))
                end
            elseif kept then
                local absent = vtable:add(field.absent, name)
                absent:set_generated()
                absent:append_text(": the vtable ends before its entry")
            else
                vtable:add("entry of " .. slot.name .. ": not read"):set_generated()
            end
        end
    end

    local add_table

    local function add_tables(view, tree, slot, kept)
        for _, node in ipairs(kept.tables or {}) do
            if view.items > view.most_items then
                return
            end
            local word = tree:add_le(field.offset, view.range(node.word_at, 4))
            view.items = view.items + 1
            if slot.shape ~= "table" then
                word:prepend_text(("[%d] "):format(node.element))
            end
            word:append_text(to(node.at))
            add_table(view, tree, node)
        end
    end

    local function add_field(view, tree, slot, kept)
        local size = model.field_size(slot)
        local item = tree:add(field.field, view.range(kept.at, size))
        view.items = view.items + 3
        item:set_text(("%s, %s, at %s"):format(slot.name, model.type_text(slot), bytes.offset_text(kept.at)))
        if slot.nested and slot.shape == "table" then
            add_tables(view, item, slot, kept)
        elseif slot.shape ~= "scalar" then
            local word = item:add_le(field.offset, view.range(kept.at, 4))
            if kept.body then
                word:append_text(to(kept.body))
                item:add_le(field.count, view.range(kept.body, 4))
            end
            add_tables(view, item, slot, kept)
        end
    end

    function add_table(view, tree, node)
        local name = node.message.name
        if not node.is_inside then
            tree:add("no table of " .. name .. " can be at " .. bytes.offset_text(node.at))
            return
        end
        local item = tree:add(field.table, view.range(node.at, 4))
        item:set_text(("table of %s at %s"):format(name, bytes.offset_text(node.at)))
        item:add_le(field.soffset, view.range(node.at, 4))
        view.items = view.items + 2
        if not node.vtable_length then
            return
        end
        add_vtable(view, item, node)
        for i, slot in ipairs(node.message.slots) do
            local kept = node.slots[i]
            if view.items > view.most_items then
                item:add("more than is shown of a frame")
                return
            end
            if kept and kept.at then
                add_field(view, item, slot, kept)
            end
        end
    end

    function wire.add(view, tree, root)
        local item = tree:add(view.range(), root.message.name)
        item:append_text(", its bytes")
        item:add_le(field.root, view.range(0, 4)):append_text(to(root.at))
        add_table(view, item, root)
    end

    return wire
end
