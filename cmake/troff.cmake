# verbatim(variable text): the text as a manual page shows it line by line, with escapes for what troff would take for its own:
# backslashes, hyphens, and a period or quote that opens a line.
function(verbatim variable text)
    string(REPLACE "\\" "\\e" text "${text}")
    string(REPLACE "-" "\\-" text "${text}")
    string(REGEX REPLACE "(^|\n)([.'])" "\\1\\\\&\\2" text "${text}")
    set(${variable} ".nf\n${text}\n.fi\n" PARENT_SCOPE)
endfunction()
