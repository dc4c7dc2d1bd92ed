#include "front_end/Utility.h"

int main(int argc, char** argv) { return kvo::bootloadertms::RunUtility(argc, argv); }
