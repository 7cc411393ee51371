// A program that does nothing: what starting any program costs.
int wmain();  // no header of the toolchain declares it

int wmain() {
  return 0;
}
