"""The virtual machine that scripts/radio-vm runs scenarios in: what is on its disk, and its life."""
