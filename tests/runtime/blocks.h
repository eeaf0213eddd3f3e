// The six blocks in the tests' words, and the platform's services by address.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "runtime/serial_ctx.h"
#include "tests/support/bindings.h"
#include "tests/support/platform.h"

extern "C" {
void ZDT_OsalLogWrite(const vorl::serial_ctx *ctx, std::uint32_t level, std::uint32_t kind,
                      const char *empty, std::uint32_t line, const char *function,
                      const char *format, ...);
void *ZDT_OsalMemAlloc(std::uint32_t size, std::uint32_t id, const char *tag);
void *ZDT_OsalMemCacheAlloc(std::uint32_t size, std::uint32_t id, const char *tag);
void ZDT_OsalMemFree(void *block, std::uint32_t id, const char *tag);
}

namespace vorl::test {

using names = std::vector<std::string>;

/// What one run of each binding looks up, in order.
inline const names binding_a = {"ZDT_OsalLogWrite", "ZDT_OsalMemAlloc", "ZDT_OsalMemFree"};
inline const names binding_b = {"ZDT_OsalMemUseFlagGet", "ZDT_OsalMemCacheAlloc",
                                "ZDT_OsalMemFree"};

/// Blocks of package 0, 1, 2: receive at an even index, send after it.
inline serial_ctx &receive_block(std::size_t package) { return serial_ctxs[2 * package]; }
inline serial_ctx &send_block(std::size_t package) { return serial_ctxs[2 * package + 1]; }

class unbound_library : public testing::Test {
  protected:
    void SetUp() override
    {
        forget_bindings();
        reset_platform();
    }
};

} // namespace vorl::test
