#include <cstdarg>
#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include "platform/os/services.h"
#include "platform/support.h"

[[gnu::visibility("default")]] void ZDT_OsalLogWrite(const vorl_log_source *source, uint32_t,
                                                     uint32_t, const char *, uint32_t line,
                                                     const char *function, const char *format, ...)
{
    const std::string where = std::string(source->module_name) + "/" + source->submodule_name +
                              " " + function + ":" + std::to_string(line) + " ";
    // Opened for each line, so that it may be moved away, and a fork needs no care.
    const char *name = getenv("VORL_LOG_FILE");
    const int file = name != nullptr && *name != '\0'
                         ? open(name, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600)
                         : -1;
    char text[2048];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    vorl::platform::write_line(file >= 0 ? file : STDERR_FILENO, where + text);
    if (file >= 0)
        close(file);
}
