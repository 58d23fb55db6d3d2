"""The parts of vmr-fleet."""
