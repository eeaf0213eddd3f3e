-- What all versions of Lua have, and of Wireshark's functions those that are used.
std = "min"
max_line_length = 130
read_globals = {
    "Address", "ByteArray", "Proto", "ProtoExpert", "ProtoField", "UInt64", "base", "expert",
}
