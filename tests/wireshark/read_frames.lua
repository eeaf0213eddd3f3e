-- read_frames.lua DIRECTORY FRAMES: the verdicts of the dissector's reader, without Wireshark. DIRECTORY has the dissector;
-- each line of FRAMES is an identifier in decimal and bytes in hex.
local directory, frames = arg[1], arg[2]
local parts = {}

local function part(name)
    if parts[name] == nil then
        parts[name] = dofile(directory .. "/" .. name .. ".lua")(part)
    end
    return parts[name]
end

local known = part("model").known(dofile(directory .. "/messages.lua"))
for line in io.lines(frames) do
    local identifier, hex = line:match("^(%d+) (%x*)$")
    local raw = hex:gsub("%x%x", function(digits) return string.char(tonumber(digits, 16)) end)
    local _, refusal, gave_up = part("reader").read(known[tonumber(identifier)], raw)
    if gave_up then
        print("gave up")
    elseif refusal then
        print(("%s at %d, %s: %s"):format(refusal.rule, refusal.at, refusal.member, refusal.text))
    else
        print("accepted")
    end
end
