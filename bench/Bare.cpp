// A program that does nothing: the cost of starting any program.
int wmain();  // no header of the toolchain declares it

int wmain() {
  return 0;
}
