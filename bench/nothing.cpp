// The yardstick of the start: a program that does nothing.
int main() {}
