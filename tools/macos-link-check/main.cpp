// Never run: linked with every archive member loaded so that any unresolved symbol of the macOS
// adapters or the core fails the cross build.
int main() {
    return 0;
}
