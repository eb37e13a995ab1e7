"""What beamd's tests are made of: a private view of the file system, a log, a bus, peers and the daemon."""
