// SPDX-License-Identifier: GPL-2.0
/* The recorder's hardware on a QEMU machine, as far as Debian's kernel has no driver for it: NOR
 * flash with named partitions, boot parameters, GPIO lines with a key matrix, the clock chip on its
 * bus, the infrared receiver and the console driver.
 *
 * The flash and the clock chip's memory lie in the machine's static RAM, which keeps its contents
 * over a reset, as theirs do. A host acts on the board through /proc/armboard: a line written to
 * control is a command, a line read from events is one. */
#include <linux/bcd.h>
#include <linux/binfmts.h>
#include <linux/delay.h>
#include <linux/fdtable.h>
#include <linux/fs.h>
#include <linux/io.h>
#include <linux/kfifo.h>
#include <linux/kprobes.h>
#include <linux/miscdevice.h>
#include <linux/module.h>
#include <linux/mtd/mtd.h>
#include <linux/mtd/partitions.h>
#include <linux/poll.h>
#include <linux/proc_fs.h>
#include <linux/rtc.h>
#include <linux/seq_file.h>
#include <linux/tracepoint.h>
#include <linux/uaccess.h>

MODULE_LICENSE("GPL");
MODULE_DESCRIPTION("Recorder board on an emulated machine");

static unsigned long sram_at, sram_size;
module_param(sram_at, ulong, 0);
MODULE_PARM_DESC(sram_at, "the static RAM's physical address");
module_param(sram_size, ulong, 0);
static char *partitions = "";
module_param(partitions, charp, 0);
MODULE_PARM_DESC(partitions, "NAME:SIZE,... in the order of the flash");
static unsigned int sector;
module_param(sector, uint, 0);
static unsigned int slow;
module_param(slow, uint, 0);
MODULE_PARM_DESC(slow, "milliseconds that an erase takes, and a write of 1 KiB");
static char *product = "";
module_param(product, charp, 0);
static char *oem = "";
module_param(oem, charp, 0);
static char *scan_lines = "", *sense_lines = "", *inputs = "";
module_param(scan_lines, charp, 0);
module_param(sense_lines, charp, 0);
MODULE_PARM_DESC(sense_lines, "GROUP.BIT,... of the key matrix");
module_param(inputs, charp, 0);
MODULE_PARM_DESC(inputs, "GROUP.BIT.LEVEL,... of the lines that the board's wiring drives");
static bool infrared = true, console = true;
module_param(infrared, bool, 0);
module_param(console, bool, 0);

/* ---- Events and commands ------------------------------------------------------------------ */

static DEFINE_KFIFO(events, char, 65536);
static DEFINE_SPINLOCK(events_lock);
static DECLARE_WAIT_QUEUE_HEAD(events_wait);

static __printf(1, 2) void event(const char *format, ...)
{
	char line[160];
	unsigned long flags;
	va_list arguments;
	int length;

	va_start(arguments, format);
	length = vscnprintf(line, sizeof line - 1, format, arguments);
	va_end(arguments);
	line[length++] = '\n';
	spin_lock_irqsave(&events_lock, flags);
	if (kfifo_avail(&events) >= length)
		kfifo_in(&events, line, length);
	spin_unlock_irqrestore(&events_lock, flags);
	wake_up_interruptible(&events_wait);
}

static ssize_t events_read(struct file *file, char __user *data, size_t size, loff_t *offset)
{
	unsigned int copied;
	int error = wait_event_interruptible(events_wait, !kfifo_is_empty(&events));

	if (!error)
		error = kfifo_to_user(&events, data, size, &copied);
	return error ? error : copied;
}

/* Every program that starts is an event. */
static void program_started(void *data, struct task_struct *task, pid_t old,
			    struct linux_binprm *program)
{
	if (strncmp(program->filename, "/proc/", 6)) /* the shell's own commands */
		event("start: %s", program->filename);
}

static void find_tracepoint(struct tracepoint *point, void *unused)
{
	if (!strcmp(point->name, "sched_process_exec"))
		tracepoint_probe_register(point, program_started, NULL);
}

/* ---- Flash -------------------------------------------------------------------------------- */

#define BATTERY (sram_size - 0x1000) /* the clock chip's memory */

static u8 __iomem *sram;
static struct mtd_info flash = { .name = "flash", .type = MTD_NORFLASH, .flags = MTD_CAP_NORFLASH,
				 .writesize = 1, .owner = THIS_MODULE };
static struct mtd_partition parts[16];
static DEFINE_MUTEX(flash_lock);

static struct failure {
	const char *operation;
	unsigned int countdown; /* 1: the next one fails */
} failing_erase = { "erase" }, failing_write = { "write" };

/* Called once an operation, with the flash locked. */
static bool fails(struct failure *failure, u64 at)
{
	if (!failure->countdown || --failure->countdown)
		return false;
	event("flash: %s %08llx fails", failure->operation, at);
	return true;
}

static void take_time(void)
{
	if (slow)
		msleep(slow);
}

static int flash_erase(struct mtd_info *mtd, struct erase_info *info)
{
	u64 at;
	int error = 0;

	if ((u32)info->addr % sector || (u32)info->len % sector)
		return -EINVAL;
	mutex_lock(&flash_lock);
	for (at = info->addr; !error && at < info->addr + info->len; at += sector) {
		event("flash: erase %08llx", at);
		memset_io(sram + at, 0xff, sector / 2);
		take_time();
		if (fails(&failing_erase, at)) {
			info->fail_addr = at;
			error = -EIO;
		} else {
			memset_io(sram + at + sector / 2, 0xff, sector / 2);
		}
	}
	mutex_unlock(&flash_lock);
	return error;
}

static int flash_read(struct mtd_info *mtd, loff_t from, size_t size, size_t *done, u_char *data)
{
	memcpy_fromio(data, sram + from, size);
	*done = size;
	return 0;
}

/* A write can only clear bits; one that fails does so half way. */
static int flash_write(struct mtd_info *mtd, loff_t to, size_t size, size_t *done, const u_char *data)
{
	size_t i, end = size;

	mutex_lock(&flash_lock);
	event("flash: write %08llx %zu", to, size);
	if (fails(&failing_write, to))
		end /= 2;
	for (i = 0; i < end; i++) {
		writeb(readb(sram + to + i) & data[i], sram + to + i);
		if (i % 1024 == 1023)
			take_time();
	}
	mutex_unlock(&flash_lock);
	*done = end;
	return end < size ? -EIO : 0;
}

static int flash_start(void)
{
	char *text = kstrdup(partitions, GFP_KERNEL), *part, *name;
	int count = 0;
	u64 total = 0;

	if (!text)
		return -ENOMEM;
	while ((part = strsep(&text, ",")) && *part && count < ARRAY_SIZE(parts)) {
		name = strsep(&part, ":");
		if (!part || kstrtoull(part, 0, &parts[count].size))
			return -EINVAL;
		parts[count].name = name;
		parts[count].offset = total;
		total += parts[count++].size;
	}
	if (total > BATTERY || !sector)
		return -EINVAL;
	if (!count)
		return 0;
	flash.size = total;
	flash.erasesize = sector;
	flash._erase = flash_erase;
	flash._read = flash_read;
	flash._write = flash_write;
	return mtd_device_register(&flash, parts, count);
}

/* ---- Boot parameters ---------------------------------------------------------------------- */

static int bootpara_show(struct seq_file *file, void *unused)
{
	if (*product)
		seq_printf(file, "product=%s\n", product);
	if (*oem)
		seq_printf(file, "oem %s\n", oem);
	return 0;
}

/* ---- GPIO --------------------------------------------------------------------------------- */

#define GROUPS 8
#define BITS 8
#define MATRIX 5

struct gpio_record {
	u32 group, bit, value;
};

static struct {
	u8 input, output, direction;
} lines[GROUPS][BITS];
static struct {
	u8 group, bit;
} scan[MATRIX], sense[MATRIX];
static bool pressed[MATRIX * MATRIX], matrix;

static int sense_level(u32 group, u32 bit)
{
	int i, k;

	for (i = 0; matrix && i < MATRIX; i++) {
		if (sense[i].group != group || sense[i].bit != bit)
			continue;
		for (k = 0; k < MATRIX; k++)
			if (pressed[k * MATRIX + i] && lines[scan[k].group][scan[k].bit].direction &&
			    !lines[scan[k].group][scan[k].bit].output)
				return 0;
		return 1;
	}
	return lines[group][bit].input;
}

static bool in_matrix(u32 group, u32 bit)
{
	int i;

	for (i = 0; matrix && i < MATRIX; i++)
		if ((scan[i].group == group && scan[i].bit == bit) ||
		    (sense[i].group == group && sense[i].bit == bit))
			return true;
	return false;
}

static long gpio_ioctl(struct file *file, unsigned int request, unsigned long argument)
{
	struct gpio_record record;
	u8 value;

	if (copy_from_user(&record, (void __user *)argument, sizeof record))
		return -EFAULT;
	if (record.group >= GROUPS || record.bit >= BITS)
		return -EINVAL;
	value = record.value != 0;
	switch (request) {
	case 1:
		lines[record.group][record.bit].direction = value;
		return 0;
	case 3:
		record.value = lines[record.group][record.bit].direction ?
				       lines[record.group][record.bit].output :
				       sense_level(record.group, record.bit);
		return copy_to_user((void __user *)argument, &record, sizeof record) ? -EFAULT : 0;
	case 4:
		if (lines[record.group][record.bit].output != value &&
		    !in_matrix(record.group, record.bit))
			event("gpio: %u,%u = %u", record.group, record.bit, value);
		lines[record.group][record.bit].output = value;
		return 0;
	}
	return -ENOTTY;
}

static bool read_lines(const char *text, int count, void *rows, int width)
{
	u8 *row = rows;
	int i, used;
	unsigned int group, bit;

	for (i = 0; i < count; i++, row += width) {
		if (sscanf(text, "%u.%u%n", &group, &bit, &used) < 2 || group >= GROUPS || bit >= BITS)
			return false;
		row[0] = group;
		row[1] = bit;
		text += used;
		text += *text == ',';
	}
	return true;
}

static int gpio_start(void)
{
	unsigned int group, bit, level;
	const char *text = inputs;

	matrix = *scan_lines != 0;
	if (matrix && (!read_lines(scan_lines, MATRIX, scan, sizeof scan[0]) ||
		       !read_lines(sense_lines, MATRIX, sense, sizeof sense[0])))
		return -EINVAL;
	while (*text) {
		if (sscanf(text, "%u.%u.%u", &group, &bit, &level) < 3 || group >= GROUPS || bit >= BITS)
			return -EINVAL;
		lines[group][bit].input = level;
		text = strchrnul(text, ',');
		text += *text == ',';
	}
	return 0;
}

/* ---- Clock chip --------------------------------------------------------------------------- */

#define PL031 0x10017000 /* counts seconds, also over a reset */
#define MAGIC 0x434c4b32
#define FLAT 0x464c4154 /* the battery's end: the next start finds nothing kept */
#define HALTED 0x80 /* in register 0: the chip does not count */

struct battery {
	u32 magic;
	u32 base; /* PL031 seconds at which the registers held what stands in `registers` */
	u8 registers[256];
};

static struct battery __iomem *battery;
static u32 __iomem *pl031;
static bool fresh;
static u8 temperature = 42;

static void put_time(time64_t time)
{
	struct rtc_time tm;
	u8 registers[7];

	rtc_time64_to_tm(time, &tm);
	registers[0] = bin2bcd(tm.tm_sec);
	registers[1] = bin2bcd(tm.tm_min);
	registers[2] = bin2bcd(tm.tm_hour);
	registers[3] = tm.tm_wday + 1;
	registers[4] = bin2bcd(tm.tm_mday);
	registers[5] = bin2bcd(tm.tm_mon + 1);
	registers[6] = bin2bcd(tm.tm_year % 100);
	memcpy_toio(battery->registers, registers, sizeof registers);
}

/* Brings the registers up to the second; what was written stays as it is until then. */
static void count_on(void)
{
	u32 now = readl(pl031), passed = now - readl(&battery->base);
	u8 r[7], weekday;

	memcpy_fromio(r, battery->registers, sizeof r);
	writel(now, &battery->base);
	if (!passed || r[0] & HALTED)
		return;
	put_time(mktime64(bcd2bin(r[6]) + 2000, bcd2bin(r[5] & 0x1f), bcd2bin(r[4] & 0x3f),
			  bcd2bin(r[2] & 0x3f), bcd2bin(r[1] & 0x7f), bcd2bin(r[0])) + passed);
	/* The weekday is a counter of its own. */
	weekday = readb(&battery->registers[4]) == r[4] ? r[3] : r[3] % 7 + 1;
	writeb(weekday, &battery->registers[3]);
}

static u8 chip_read(u8 reg)
{
	count_on();
	return readb(&battery->registers[reg]);
}

static void chip_write(u8 reg, u8 value)
{
	event("clock: register %u = %02x", reg, value);
	count_on();
	writeb(value, &battery->registers[reg]);
}

#define REDIRECTED 0x5602 /* request 2, which today's kernel would answer itself */

static long i2c_ioctl(struct file *file, unsigned int request, unsigned long argument)
{
	u32 word;

	if (get_user(word, (u32 __user *)argument))
		return -EFAULT;
	switch (request) {
	case 1:
		word &= ~0xffu;
		if (word >> 24 == 0xd0)
			word |= chip_read(word >> 16);
		else if (word >> 24 == 0x90)
			word |= temperature;
		else
			return -EIO;
		return put_user(word, (u32 __user *)argument);
	case REDIRECTED:
		if (word >> 24 != 0xd0)
			return -EIO;
		chip_write(word >> 16, word);
		return 0;
	}
	return -ENOTTY;
}

static const struct file_operations i2c_operations = { .owner = THIS_MODULE,
						       .unlocked_ioctl = i2c_ioctl };

/* Hands request 2 on this one device through to its driver. */
static int before_ioctl(struct kprobe *probe, struct pt_regs *regs)
{
	struct file *file;

	if (regs->ARM_r1 != FIGETBSZ)
		return 0;
	rcu_read_lock();
	file = lookup_fd_rcu(regs->ARM_r0);
	if (file && file->f_op && file->f_op->unlocked_ioctl == i2c_ioctl)
		regs->ARM_r1 = REDIRECTED;
	rcu_read_unlock();
	return 0;
}

static struct kprobe ioctl_probe = { .symbol_name = "sys_ioctl", .pre_handler = before_ioctl };

static int clock_start(void)
{
	battery = (struct battery __iomem *)(sram + BATTERY);
	pl031 = ioremap(PL031, 4);
	if (!pl031)
		return -ENOMEM;
	switch (readl(&battery->magic)) {
	case MAGIC:
		break;
	case FLAT:
		memset_io(battery->registers, 0xff, sizeof battery->registers);
		break;
	default:
		fresh = true;
		memset_io(battery, 0, sizeof *battery);
		writel(readl(pl031), &battery->base);
		put_time(readl(pl031));
	}
	writel(MAGIC, &battery->magic);
	return register_kprobe(&ioctl_probe);
}

/* ---- Infrared receiver -------------------------------------------------------------------- */

static DEFINE_KFIFO(codes, u8, 1024);
static DECLARE_WAIT_QUEUE_HEAD(codes_wait);

static ssize_t ir_read(struct file *file, char __user *data, size_t size, loff_t *offset)
{
	unsigned int copied;
	int error;

	if (file->f_flags & O_NONBLOCK && kfifo_is_empty(&codes))
		return -EAGAIN;
	error = wait_event_interruptible(codes_wait, !kfifo_is_empty(&codes));
	if (!error)
		error = kfifo_to_user(&codes, data, min_t(size_t, size, 12), &copied);
	return error ? error : copied;
}

static __poll_t ir_poll(struct file *file, poll_table *table)
{
	poll_wait(file, &codes_wait, table);
	return kfifo_is_empty(&codes) ? 0 : EPOLLIN | EPOLLRDNORM;
}

/* ---- Console driver ----------------------------------------------------------------------- */

static long console_ioctl(struct file *file, unsigned int request, unsigned long argument)
{
	if (request > 1)
		return -ENOTTY;
	event("console: %s", request ? "resumed" : "suspended");
	return 0;
}

/* ---- The devices and the commands --------------------------------------------------------- */

static const struct file_operations gpio_operations = { .owner = THIS_MODULE,
							.unlocked_ioctl = gpio_ioctl };
static const struct file_operations ir_operations = { .owner = THIS_MODULE, .read = ir_read,
						      .poll = ir_poll };
static const struct file_operations console_operations = { .owner = THIS_MODULE,
							   .unlocked_ioctl = console_ioctl };

static struct miscdevice devices[] = {
	{ .minor = MISC_DYNAMIC_MINOR, .name = "hi_gpio", .fops = &gpio_operations },
	{ .minor = MISC_DYNAMIC_MINOR, .name = "gpioi2c", .fops = &i2c_operations },
	{ .minor = MISC_DYNAMIC_MINOR, .name = "Hi_IR", .fops = &ir_operations },
	{ .minor = MISC_DYNAMIC_MINOR, .name = "consoledev", .fops = &console_operations },
};

static int run_command(const char *line)
{
	unsigned int a, b, c;
	u8 record[12] = {};

	if (sscanf(line, "key press %u", &a) == 1 && matrix && a < ARRAY_SIZE(pressed)) {
		pressed[a] = true;
	} else if (sscanf(line, "key release %u", &a) == 1 && matrix && a < ARRAY_SIZE(pressed)) {
		pressed[a] = false;
	} else if (sscanf(line, "gpio set %u %u %u", &a, &b, &c) == 3 && a < GROUPS && b < BITS) {
		lines[a][b].input = c != 0;
	} else if (sscanf(line, "ir send %i %i", (int *)&a, (int *)&b) == 2) {
		record[6] = a;
		record[8] = b;
		if (kfifo_avail(&codes) < sizeof record)
			return -ENOSPC;
		kfifo_in(&codes, record, sizeof record);
		wake_up_interruptible(&codes_wait);
	} else if (sscanf(line, "flash fail erase %u", &a) == 1) {
		failing_erase.countdown = a;
	} else if (sscanf(line, "flash fail write %u", &a) == 1) {
		failing_write.countdown = a;
	} else if (sscanf(line, "temperature set %u", &a) == 1) {
		temperature = a;
	} else if (!strncmp(line, "note ", 5)) {
		line += 5;
	} else if (!strcmp(line, "clock battery flat")) {
		writel(FLAT, &battery->magic);
	} else {
		return -EINVAL;
	}
	event("%s", line);
	return 0;
}

static ssize_t commands_write(struct file *file, const char __user *data, size_t size, loff_t *offset)
{
	char line[80];
	int error;

	if (size >= sizeof line || copy_from_user(line, data, size))
		return -EINVAL;
	line[size] = 0;
	error = run_command(strim(line));
	return error ? error : size;
}

/* The flash's contents, written once by whoever gives the board its power: each write is a place in
 * the flash, in four bytes, and what stands there. */
static ssize_t contents_write(struct file *file, const char __user *data, size_t size,
			      loff_t *offset)
{
	u8 *copy;
	u32 at;

	if (size < sizeof at || size > sizeof at + PAGE_SIZE)
		return -EINVAL;
	copy = memdup_user(data, size);
	if (IS_ERR(copy))
		return PTR_ERR(copy);
	memcpy(&at, copy, sizeof at);
	if (at <= sram_size && size - sizeof at <= sram_size - at)
		memcpy_toio(sram + at, copy + sizeof at, size - sizeof at);
	else
		size = -ENOSPC;
	kfree(copy);
	return size;
}

static const struct proc_ops events_operations = { .proc_read = events_read };
static const struct proc_ops control_operations = { .proc_write = commands_write };
static const struct proc_ops flash_operations = { .proc_write = contents_write };

static int __init board_start(void)
{
	int error, i;

	sram = ioremap_wc(sram_at, sram_size);
	if (!sram)
		return -ENOMEM;
	error = flash_start() ?: gpio_start() ?: clock_start();
	/* Memory that was never written is that of a board just given power. */
	if (!error && fresh)
		memset_io(sram, 0xff, flash.size);
	for (i = 0; !error && i < ARRAY_SIZE(devices); i++)
		if ((devices[i].fops != &ir_operations || infrared) &&
		    (devices[i].fops != &console_operations || console))
			error = misc_register(&devices[i]);
	if (error) /* nothing could be relied on */
		panic("armboard: %d\n", error);
	for_each_kernel_tracepoint(find_tracepoint, NULL);
	if (!proc_mkdir("armboard", NULL) || !proc_mkdir("vss", NULL) ||
	    !proc_create("armboard/events", 0400, NULL, &events_operations) ||
	    !proc_create("armboard/control", 0200, NULL, &control_operations) ||
	    (fresh && !proc_create("armboard/flash", 0200, NULL, &flash_operations)) ||
	    !proc_create_single("vss/bootpara", 0444, NULL, bootpara_show))
		return -ENOMEM;
	return 0;
}

/* There is no way back: a board does not lose its hardware while it runs. */
module_init(board_start);
