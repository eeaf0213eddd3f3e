/* A plugin whose constructor runs in the program that opens it (early_calls_test.cpp). */
void vorl_test_on_load(void);

__attribute__((constructor)) static void load(void) { vorl_test_on_load(); }
