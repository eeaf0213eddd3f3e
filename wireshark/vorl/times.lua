-- Times as labels have them: dates in UTC, and durations.
return function(part)
    local bytes = part("bytes")
    local times = {}

    -- A value of 1, 2, 4 or 8 bytes; whole in every version of Lua.
    function times.number_of(raw)
        local padded = raw .. ("\0"):rep(8 - #raw)
        return UInt64(bytes.word(padded, 0), bytes.word(padded, 4))
    end

    local digits_of_unit = { s = 0, ms = 3, us = 6, ns = 9 }
    local end_of_9999 = 253402300800

    local function date_of(days)
        -- The civil calendar, by eras of 400 years that begin in March.
        local z = days + 719468
        local era = math.floor(z / 146097)
        local day = z - era * 146097
        local year = math.floor((day - math.floor(day / 1460) + math.floor(day / 36524) - math.floor(day / 146096)) / 365)
        local in_year = day - (365 * year + math.floor(year / 4) - math.floor(year / 100))
        local month = math.floor((5 * in_year + 2) / 153)
        local in_month = in_year - math.floor((153 * month + 2) / 5) + 1
        month = month < 10 and month + 3 or month - 9
        return ("%04.0f-%02.0f-%02.0fT"):format(year + era * 400 + (month <= 2 and 1 or 0), month, in_month)
    end

    -- Nil: the value has no text, because the unit is no time, or the date is past the year 9999.
    function times.text(label, raw)
        local digits = digits_of_unit[label.unit]
        if not digits then
            return nil
        end
        local value = times.number_of(raw)
        local parts = UInt64(math.floor(10 ^ digits))
        local seconds = tonumber(tostring(value / parts))
        if seconds >= end_of_9999 and not label.since_start then
            return nil
        end
        local days = math.floor(seconds / 86400)
        local of_day = seconds - days * 86400
        local clock = ("%02.0f:%02.0f:%02.0f"):format(math.floor(of_day / 3600), math.floor(of_day / 60) % 60, of_day % 60)
        if digits > 0 then
            local rest = tostring(value % parts)
            clock = clock .. "." .. ("0"):rep(digits - #rest) .. rest
        end
        if label.since_start then
            return (days == 0 and "" or bytes.decimal(days) .. "d ") .. clock
        end
        return date_of(days) .. clock .. "Z"
    end

    return times
end
