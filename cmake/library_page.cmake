# Writes the manual page of the library, vorl_srv6(3), around the contract that opens a public header:
# cmake -DHEADER= -DVERSION= -DOUTPUT= -P this file.
include(${CMAKE_CURRENT_LIST_DIR}/troff.cmake)

# The header's first comment, behind its first paragraph, which says who wrote the file. ";" and "[" mean something to CMake's
# lists, and are put back at the end.
file(READ ${HEADER} text)
string(REPLACE ";" "@semicolon@" text "${text}")
string(FIND "${text}" "*/" end)
string(SUBSTRING "${text}" 0 ${end} contract)
if(NOT contract MATCHES "^/\\*\n \\* Generated [^\n]*\n( \\* [^\n]*\n)* \\*\n \\* Every message M has ")
    message(FATAL_ERROR "${HEADER} does not open with a comment, 'Generated ...' and then 'Every message M has ...': \
change that, or cmake/library_page.cmake")
endif()
string(FIND "${contract}" " * Every message M has " begin)
string(SUBSTRING "${contract}" ${begin} -1 contract)
string(REGEX REPLACE "(^|\n) \\*( |$)?" "\\1" contract "${contract}")
string(STRIP "${contract}" contract)
string(REGEX REPLACE "srv6_(recv_init|send_init|_send_resource_clean)" "P_\\1" contract "${contract}")
verbatim(contract "${contract}")

set(page ".TH VORL_SRV6 3 \"\" \"libvorl_srv6 ${VERSION}\" \"Library Functions\"\n")
string(APPEND page [[
.SH NAME
vorl_srv6 \- typed messages of a router's SRv6 forwarding plane
.SH SYNOPSIS
.nf
.B #include <srv6.h>
.B #include <srv6_cfg.h>
.B #include <srv6_sync.h>

For each message M:

.BI "uint32_t M__pack(const M *" in ", void *" buf ", uint32_t *" inout_len )@semicolon@
.BI "uint32_t M__unpack(const void *" buf ", int32_t " len ", void *" out )@semicolon@
.BI "void M_free__unpacked(void *" rec )@semicolon@
.BI "uint32_t M__sendsingle(uint32_t " dest ", const M *" rec ", uint32_t " ignored ", uint64_t " to )@semicolon@
.BI "uint32_t M__sendbatch(uint32_t " dest ", const M *" recs ", uint32_t " count ", uint64_t " to )@semicolon@
.BI "uint32_t M__sendmsg(uint32_t " dest ", const M *" recs ", uint32_t " count )@semicolon@
.BI "uint32_t M__sendtomsg(uint32_t " dest ", const M *" recs ", uint32_t " count ", uint64_t " to )@semicolon@

For each package P (srv6, srv6_cfg, srv6_sync):

.B uint32_t P_recv_init(void)@semicolon@
.B uint32_t P_send_init(void)@semicolon@
.B void P__send_resource_clean(void)@semicolon@

Compile and link with
.B $(pkg-config \-\-cflags \-\-libs vorl_srv6)
.fi
.SH DESCRIPTION
A program fills a plain C record and sends it. Another program gets the same
record back. The library encodes the record into a frame, hands the frame to the
platform's message bus, and on the other side checks every offset of the frame
before it follows it.
.PP
A process that receives messages of a package calls
.B P_recv_init
once, before it opens its destination: it registers each message of the package
with the bus. A process that sends calls
.B P_send_init
once: it registers
.B P__send_resource_clean
with the bus, which does nothing, because sends keep nothing between calls.
Both return 0, or the code of the bus that refused.
.PP
The header of a package has every message: its slots, its identifier, the size
of its record and of its frame.
.SH THE SEVEN FUNCTIONS
What follows opens each header: what the functions do and return, what they log,
and whose the memory is.
.PP
]])
string(APPEND page "${contract}")
string(APPEND page [[
.SH FILES
.I /usr/include/vorl_srv6/srv6.h
.br
.I /usr/include/vorl_srv6/srv6_cfg.h
.br
.I /usr/include/vorl_srv6/srv6_sync.h
.SH SEE ALSO
.BR vorl (1),
.BR vorl\-devbus (1)
]])
string(REPLACE "@semicolon@" "\;" page "${page}")
file(WRITE ${OUTPUT} "${page}")
