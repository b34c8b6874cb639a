#include "doctor/Doctor.h"

int main(int argc, char** argv) { return halvane::doctor::RunDoctor({argv + 1, argv + argc}); }
