"""Programs in real time: what the tests' sessions, the soak, the demonstrations and the benchmarks share."""
