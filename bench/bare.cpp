// The least that a C++ program costs which prints through the standard library.
#include <iostream>

int main() { std::cout << "bare" << std::endl; }
