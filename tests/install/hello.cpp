#include "hello.c"
