// What starting any C++ program costs.
int main() {}
