// The addresses of network interfaces (netdevice(7)).
#pragma once

// Writes the hardware address (6 bytes, as transmitted) of a network interface. Returns 0; or -1
// when there is no such interface, or its name does not fit the kernel's field.
int Netdev_GetHwAddr(const char* interface, unsigned char* address);

// Writes the IPv4 address (4 bytes, network byte order) of a network interface. Returns 0; or -1
// as above, or when the interface has no IPv4 address.
int Netdev_GetIpAddr(const char* interface, unsigned char* address);
