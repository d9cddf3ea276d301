// Nothing of its own: the target that this belongs to compiles the headers that the tests share.
int main() {
  return 0;
}
