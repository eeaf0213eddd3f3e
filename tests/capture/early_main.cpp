// A program that does nothing itself: its library sends.
int early_sender_is_there();

int main() { return early_sender_is_there(); }
