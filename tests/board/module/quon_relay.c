// SPDX-License-Identifier: GPL-2.0
// Plays the chip's kernel driver: owns netlink protocol 28 and passes every message between the
// host (port 1100) and a simulated chip (port 1200), whole and in order. /proc/quon_relay counts
// them.
#include <linux/module.h>
#include <linux/netlink.h>
#include <linux/proc_fs.h>
#include <linux/seq_file.h>
#include <net/sock.h>

enum {
    RELAY_PROTOCOL = 28,
    RELAY_HOST_PORT = 1100,
    RELAY_CHIP_PORT = 1200,
};

static struct sock* relay_socket;
static atomic_t relay_to_chip = ATOMIC_INIT(0);
static atomic_t relay_to_host = ATOMIC_INIT(0);
static atomic_t relay_undelivered = ATOMIC_INIT(0);

static void relay_hand_over(const struct sk_buff* message, u32 port, atomic_t* counter) {
    struct sk_buff* copy = alloc_skb(message->len, GFP_KERNEL);

    if (copy)
        skb_put_data(copy, message->data, message->len);
    if (copy && netlink_unicast(relay_socket, copy, port, MSG_DONTWAIT) >= 0)
        atomic_inc(counter);
    else
        atomic_inc(&relay_undelivered);
}

static void relay_input(struct sk_buff* message) {
    switch (NETLINK_CB(message).portid) {
        case RELAY_HOST_PORT:
            relay_hand_over(message, RELAY_CHIP_PORT, &relay_to_chip);
            break;
        case RELAY_CHIP_PORT:
            relay_hand_over(message, RELAY_HOST_PORT, &relay_to_host);
            break;
        default:
            atomic_inc(&relay_undelivered);
    }
}

static int relay_show(struct seq_file* out, void* unused) {
    seq_printf(out, "to_chip %d\nto_host %d\nundelivered %d\n", atomic_read(&relay_to_chip),
               atomic_read(&relay_to_host), atomic_read(&relay_undelivered));
    return 0;
}

static int __init relay_init(void) {
    struct netlink_kernel_cfg config = {.input = relay_input};

    relay_socket = netlink_kernel_create(&init_net, RELAY_PROTOCOL, &config);
    if (!relay_socket)
        return -ENOMEM;
    if (!proc_create_single("quon_relay", 0444, NULL, relay_show)) {
        netlink_kernel_release(relay_socket);
        return -ENOMEM;
    }
    return 0;
}

static void __exit relay_exit(void) {
    remove_proc_entry("quon_relay", NULL);
    netlink_kernel_release(relay_socket);
}

module_init(relay_init);
module_exit(relay_exit);
MODULE_LICENSE("GPL");
MODULE_DESCRIPTION("Relay between a host and a simulated chip over netlink protocol 28");
