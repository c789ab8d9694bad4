// A program that loads no library.

int main() {}
