// Starts and exits: what a process costs that does nothing.
int main() {}
