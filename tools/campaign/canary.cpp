// The canary's planted fault: what the application writes is never brought to the disk.
extern "C" void canary_sync() {}
