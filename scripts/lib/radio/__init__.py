"""Access points, stations and foreign networks of real parts, within the virtual machine of scripts/radio-vm."""
