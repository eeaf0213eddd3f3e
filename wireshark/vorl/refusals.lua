-- Why a reader refuses bytes, in the words of `vorl explain`. A refusal: rule (docs/format.md, "What the reader
-- checks"), at and size of the faulty bytes, text.
return function(part)
    local bytes = part("bytes")
    local model = part("model")
    local decimal, offset_text = bytes.decimal, bytes.offset_text
    local refusals = {}

    local function refusal(rule, at, size, text)
        return { rule = rule, at = at, size = size, text = text }
    end

    function refusals.length(length)
        return refusal("length", 0, length, decimal(length) .. " bytes, where a message has at least 4")
    end

    local function out_of_range(what, message, position, last)
        return ("the %s of %s would be at %s (%s), which is not from 4 to %s"):format(
            what, message.name, offset_text(position), decimal(position), decimal(last))
    end

    function refusals.table_position(message, word_at, position, last)
        return refusal("table position", word_at, 4, out_of_range("table", message, position, last))
    end

    function refusals.vtable_position(message, at, position, last)
        return refusal("vtable position", at, 4, out_of_range("vtable", message, position, last))
    end

    function refusals.vtable_length(message, at, length, left)
        return refusal("vtable length", at, 2, ("the vtable of %s would be %s bytes long where %s are left"):format(
            message.name, decimal(length), decimal(left)))
    end

    function refusals.field(slot, entry_at, at, length)
        return refusal("field", entry_at, 2, ("%s of %d bytes at %s passes the end of the message, %s"):format(
            model.type_text(slot), model.field_size(slot), offset_text(at), offset_text(length)))
    end

    function refusals.body(at, body, length)
        return refusal("body", at, 4, ("the offset leads to %s, where no count fits before the end of the message, %s")
            :format(offset_text(body), offset_text(length)))
    end

    function refusals.elements(slot, body, count, length)
        local text = ("%s elements of %d bytes pass the end of the message, %s"):format(
            decimal(count), model.element_size(slot), offset_text(length))
        if not slot.is_vector and count ~= slot.count then
            text = text .. "; there must be " .. decimal(slot.count)
        end
        return refusal("elements", body, 4, text)
    end

    function refusals.count(slot, body, count)
        return refusal("count", body, 4, ("the count is %s and must be %s"):format(decimal(count), decimal(slot.count)))
    end

    function refusals.memory(body, count)
        return refusal("memory", body, 4, ("the records of %s elements need more memory than 32 bits can say"):format(
            decimal(count)))
    end

    function refusals.element_position(word_at, offset)
        return refusal("element position", word_at, 4, ("the offset %s leads past 32 bits"):format(decimal(offset)))
    end

    return refusals
end
