-- show_frames.lua DIRECTORY FRAMES: what the dissector shows of packets, in any version of Lua: with as much of Wireshark's
-- interface as it takes, which writes what it is called with. DIRECTORY has the dissector; each line of FRAMES is a
-- packet behind its tags, in hex.
-- luacheck: globals Proto ProtoField ProtoExpert base expert Address ByteArray UInt64
local directory, frames = arg[1], arg[2]

local function named(name)
    return setmetatable({}, { __tostring = function() return name end })
end

-- What counts is that a number has one text in all versions.
local function texts(...)
    local all = {}
    for i = 1, select("#", ...) do
        all[i] = tostring((select(i, ...)))
    end
    return table.concat(all, " ")
end

local item = {}
item.__index = function(_, key)
    if key == "text" then
        return "name: value"
    end
    return item[key]
end
local function add(_, ...)
    print(texts(...))
    return setmetatable({}, item)
end
for _, method in ipairs({
    "add", "add_le", "append_text", "prepend_text", "set_text", "set_generated", "set_hidden", "add_proto_expert_info",
}) do
    item[method] = add
end

local tvb = {}
tvb.__index = tvb
local function new_tvb(raw, at)
    return setmetatable({ bytes = raw, at = at or 0 }, tvb)
end
function tvb:len() return #self.bytes end
function tvb:raw() return self.bytes end
function tvb:tvb() return new_tvb(self.bytes) end
function tvb:__tostring() return "<" .. self.at .. "+" .. #self.bytes .. ">" end
function tvb:__call(at, size)
    at = at or 0
    size = size or #self.bytes - at
    assert(math.floor(at) == at and math.floor(size) == size, "no whole number")
    assert(at >= 0 and size >= 0 and at + size <= #self.bytes, "a range outside of the packet")
    return new_tvb(self.bytes:sub(at + 1, at + size), at)
end

local protocol = setmetatable({}, { __tostring = function() return "protocol" end })
Proto = { new = function() return protocol end }
ProtoField = setmetatable({}, { __index = function() return named end })
ProtoExpert = { new = named }
base = { DEC = 1, HEX = 2 }
expert = { group = {}, severity = {} }
Address = { ipv6 = tostring }
ByteArray = { new = new_tvb }

-- Below 2^53.
local whole = {}
UInt64 = function(low, high)
    return setmetatable({ value = low + (high or 0) * 4294967296 }, whole)
end
function whole.__div(a, b) return UInt64(math.floor(a.value / b.value)) end
function whole.__mod(a, b) return UInt64(a.value % b.value) end
function whole.__tostring(a) return ("%.0f"):format(a.value) end

dofile(directory .. "/init.lua")
local pinfo = { number = 0, visited = false, cols = {} }
for hex in io.lines(frames) do
    pinfo.number = pinfo.number + 1
    local raw = hex:gsub("%x%x", function(digits) return string.char(tonumber(digits, 16)) end)
    local packet = new_tvb(raw)
    assert(protocol.dissector(packet, pinfo, setmetatable({}, item)) == #raw)
    print(pinfo.cols.info)
end
