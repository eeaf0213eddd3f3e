# The router's architecture, from Debian: g++-aarch64-linux-gnu or clang builds, qemu-user runs.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
if(NOT DEFINED CMAKE_CXX_COMPILER)
    set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
    set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
endif()
# For clang, which is one compiler for every target.
set(CMAKE_C_COMPILER_TARGET aarch64-linux-gnu)
set(CMAKE_CXX_COMPILER_TARGET aarch64-linux-gnu)
# Which knows no tools of the target: those of this machine cannot strip what is packaged.
foreach(tool AR RANLIB STRIP)
    string(TOLOWER ${tool} name)
    find_program(CMAKE_${tool} aarch64-linux-gnu-${name})
endforeach()

# Headers and libraries come from the target's root alone; what this machine has of headers only is picked by
# cmake/cross, without /usr/include as a whole.
set(vorl_target_root /usr/aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH ${vorl_target_root})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(vorl_emulator qemu-aarch64)
set(CMAKE_CROSSCOMPILING_EMULATOR env QEMU_LD_PREFIX=${vorl_target_root} ${vorl_emulator})
