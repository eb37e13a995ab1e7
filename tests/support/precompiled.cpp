// What has precompiled.h compiled.
int main() { return 0; }
