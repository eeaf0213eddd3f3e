-- A value as its label's form writes it (docs/labels.md, "The forms"). Values come as their bytes, so that those of 64 bits
-- are whole.
return function(part)
    local bytes = part("bytes")
    local times = part("times")
    local labels = {}

    -- Numbers of docs/capture.md.
    local forms = {
        [2] = "hex", [3] = "ipv4", [4] = "ipv6", [5] = "prefix", [6] = "mac", [7] = "sid", [8] = "time", [9] = "enum",
        [10] = "flags", [11] = "unit",
    }

    local number_of = times.number_of

    local function ipv4_text(raw)
        return ("%d.%d.%d.%d"):format(raw:byte(4), raw:byte(3), raw:byte(2), raw:byte(1))
    end

    -- The longest run of zeros is "::", the first of two that are as long; one group alone is none.
    local function ipv6_text(raw)
        local groups, from, size = {}, 0, 1
        local start
        for i = 1, 8 do
            local high, low = raw:byte(2 * i - 1, 2 * i)
            groups[i] = high * 256 + low
            start = groups[i] == 0 and (start or i) or nil
            if start and i - start + 1 > size then
                from, size = start, i - start + 1
            end
        end
        local text = ""
        for i = 1, 8 do
            if from > 0 and i >= from and i < from + size then
                text = i == from and text .. "::" or text
            else
                local is_behind = text ~= "" and text:sub(-1) ~= ":"
                text = text .. (is_behind and ":" or "") .. ("%x"):format(groups[i])
            end
        end
        return text
    end

    local function address_text(slot, raw)
        if slot.shape == "scalar" then
            return slot.width == 4 and ipv4_text(raw) or nil
        end
        return #raw == 16 and ipv6_text(raw) or nil
    end

    -- Bit `at` of an address, from its first on.
    local function bit_at(raw, at)
        local byte = raw:byte(math.floor(at / 8) + 1)
        return math.floor(byte / 2 ^ (7 - at % 8)) % 2
    end

    local function bits_text(raw, from, count)
        local digits, digit = "", 0
        for done = 0, count - 1 do
            digit = digit * 2 + bit_at(raw, from + done)
            if (count - done - 1) % 4 == 0 then
                digits = digits .. ("%x"):format(math.floor(digit))
                digit = 0
            end
        end
        digits = digits:gsub("^0+", "")
        return "0x" .. (digits == "" and "0" or digits)
    end

    local function sid_text(label, raw)
        local locator = ""
        for i = 0, 15 do
            local left = math.max(0, math.min(8, label.locator - 8 * i))
            local byte = raw:byte(i + 1)
            locator = locator .. string.char(math.floor(byte - byte % 2 ^ (8 - left)))
        end
        local argument = bits_text(raw, label.argument_at, 128 - label.argument_at)
        return ("%s (locator %s/%d, function %s%s)"):format(ipv6_text(raw), ipv6_text(locator), label.locator,
            bits_text(raw, label.locator, label.argument_at - label.locator),
            argument == "0x0" and "" or ", argument " .. argument)
    end

    local function mac_text(slot, raw)
        if slot.shape == "scalar" then
            if slot.width ~= 8 or raw:sub(7) ~= "\0\0" then
                return nil
            end
            raw = raw:sub(1, 6):reverse()
        end
        return #raw == 6 and bytes.hex(raw, ":"):sub(1, -2) or nil
    end

    -- Names of the bits that are set, from bit 0 up, and the bits without a name as one hex number.
    local function flags_text(label, raw)
        local parts, left = {}, ""
        for at = 1, #raw do
            local unnamed = 0
            for i = 0, 7 do
                local bit = math.floor(2 ^ i)
                if math.floor(raw:byte(at) / bit) % 2 == 1 then
                    local name = label.names[string.char(8 * (at - 1) + i) .. ("\0"):rep(7)]
                    parts[#parts + 1] = name
                    unnamed = unnamed + (name and 0 or bit)
                end
            end
            left = ("%02x"):format(unnamed) .. left
        end
        left = left:gsub("^0+", "")
        if left ~= "" then
            parts[#parts + 1] = "0x" .. left
        end
        return #parts == 0 and "0x0" or table.concat(parts, "|")
    end

    local function hex_text(raw)
        return "0x" .. bytes.hex(raw:reverse())
    end

    local of_scalar = {
        hex = function(_, _, raw) return hex_text(raw) end,
        enum = function(label, _, raw) return label.names[raw .. ("\0"):rep(8 - #raw)] end,
        flags = function(label, _, raw) return flags_text(label, raw) end,
        unit = function(label, _, raw) return tostring(number_of(raw)) .. " " .. label.unit end,
        time = function(label, _, raw) return times.text(label, raw) end,
    }
    local of_any = {
        ipv4 = function(_, slot, raw) return address_text(slot, raw) end,
        ipv6 = function(_, slot, raw) return address_text(slot, raw) end,
        mac = function(_, slot, raw) return mac_text(slot, raw) end,
        prefix = function(_, slot, raw, length)
            local address = address_text(slot, raw)
            return address and length and address .. "/" .. tostring(number_of(length)) or address
        end,
        sid = function(label, _, raw)
            return #raw == 16 and label.argument_at <= 128 and sid_text(label, raw) or nil
        end,
    }

    -- The value in its form, or nil: it has none there. `length` are the bytes of the slot that has a prefix's length.
    local function formed(label, slot, raw, length)
        local form = forms[label.form]
        local write = of_any[form] or (slot.shape == "scalar" and of_scalar[form])
        return write and write(label, slot, raw, length) or nil
    end

    -- " [prefix_length: 48 bits]", what is put behind a value; empty: the label says nothing.
    function labels.text(label, slot, raw, length)
        local value = formed(label, slot, raw, length) or (label.unit ~= "" and label.unit) or ""
        if label.name == "" and value == "" then
            return ""
        end
        return " [" .. label.name .. (label.name ~= "" and value ~= "" and ": " or "") .. value .. "]"
    end

    return labels
end
