-- Little-endian numbers of a string of bytes, and numbers as text. Offsets count from 0. Whoever reads a number
-- has checked that it lies inside. No number here passes 2^53, so it is whole in every version of Lua; of 64-bit
-- values only the bytes are handled.
return function()
    local bytes = {}

    bytes.word_size = 4
    bytes.entry_size = 2
    bytes.two_to_32 = 4294967296

    function bytes.half(raw, at)
        local low, high = raw:byte(at + 1, at + 2)
        return low + high * 256
    end

    function bytes.word(raw, at)
        local a, b, c, d = raw:byte(at + 1, at + 4)
        return a + b * 256 + c * 65536 + d * 16777216
    end

    -- "0x0030"; string.format takes no numbers past 31 bits on some systems.
    function bytes.offset_text(offset)
        local digits = ""
        while offset > 0 do
            local digit = offset % 16
            digits = ("0123456789abcdef"):sub(digit + 1, digit + 1) .. digits
            offset = math.floor(offset / 16)
        end
        return "0x" .. ("0"):rep(4 - #digits) .. digits
    end

    function bytes.hex(raw, separator)
        return (raw:gsub(".", function(byte) return ("%02x"):format(byte:byte()) .. (separator or "") end))
    end

    -- A number as it is counted with: no point and no exponent in any version of Lua.
    function bytes.decimal(number)
        return ("%.0f"):format(number)
    end

    return bytes
end
