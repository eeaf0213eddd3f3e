// Prints what tests/abi/layouts.txt is to hold: ./dev regen writes it there.
#include "tests/abi/layouts.h"

int main()
{
    for (const vorl::test::layout &l : vorl::test::all_layouts()) {
        std::puts(l.head.c_str());
        for (const std::string &line : l.slots)
            std::puts(line.c_str());
    }
    return 0;
}
