#!/usr/bin/perl
# write_lock.pl: the run lock that keeps one updater at a time installing
# packages or changing the delay-package list on this machine.
#
#   write_lock.pl --action LOCK|TRYLOCK|UNLOCK --pid PID [--timeout SECONDS]
#
# LOCK waits up to the time-out (seconds) for the lock, TRYLOCK tries once,
# UNLOCK releases it. The lock belongs to the process PID (the updater that
# runs this script), not to the script. A lock whose holder no longer exists
# (or is a zombie, or whose process id now names another process) is free
# again, so a killed update never blocks the next one. Taking a lock already
# held by the same process succeeds.
#
# The state is one line "PID START" in <home>/tmp/zr-run-lock, START being
# the holder's start time from /proc (empty where /proc is missing). Every
# look at it and change of it happens under flock on that file, so two
# updaters can never both see the lock free. The home is the folder above the
# one that holds this script (<home>/bin/write_lock.pl).
#
# Exit status: 0 the action succeeded; 1 the lock is held by another live
# process (LOCK after the time-out, TRYLOCK, UNLOCK of someone else's lock);
# 2 bad arguments or the state file cannot be used.
use strict;
use warnings;
use Cwd qw(abs_path);
use Errno qw(EPERM);
use Fcntl qw(:flock O_RDWR O_CREAT O_NOFOLLOW SEEK_SET);
use File::Basename qw(dirname);
use Getopt::Long qw(GetOptionsFromArray);
use IO::Handle;
use Time::HiRes qw(sleep time);

my $POLL_SECONDS = 0.2;

sub fail {
    print STDERR "write_lock.pl: $_[0]\n";
    exit 2;
}

sub parse_arguments {
    my %opt = (timeout => 0);
    GetOptionsFromArray(\@_, \%opt, 'action=s', 'pid=s', 'timeout=s') or fail('bad arguments');
    fail('--action LOCK, TRYLOCK or UNLOCK expected')
        unless ($opt{action} // '') =~ /^(LOCK|TRYLOCK|UNLOCK)$/;
    fail('--pid must be a process id') unless ($opt{pid} // '') =~ /^[1-9]\d*$/;
    fail('--timeout must be a number of seconds') unless $opt{timeout} =~ /^-?\d+$/;
    return \%opt;
}

# The start time of a process and whether it is a zombie, from /proc; undef
# when /proc says nothing about it.
sub process_start {
    my ($pid) = @_;
    open(my $fh, '<', "/proc/$pid/stat") or return;
    my $line = <$fh> // '';
    close($fh);
    # Fields after "pid (name) ": state is the first, the start time the 20th.
    $line =~ s/^.*\)\s+//s or return;
    my @fields = split(' ', $line);
    return ($fields[19], $fields[0] eq 'Z');
}

sub holder_alive {
    my ($pid, $start) = @_;
    return 0 unless kill(0, $pid) || $! == EPERM;
    my ($now, $zombie) = process_start($pid);
    return 1 unless defined $now;
    return 0 if $zombie;
    return $start eq '' || $start eq $now;
}

sub open_state {
    my $folder = dirname(dirname(abs_path($0))) . '/tmp';
    mkdir($folder, 0755) unless -d $folder;
    my $path = "$folder/zr-run-lock";
    sysopen(my $fh, $path, O_RDWR | O_CREAT | O_NOFOLLOW, 0644) or fail("cannot open $path: $!");
    flock($fh, LOCK_EX) or fail("cannot lock $path: $!");
    return $fh;
}

# The live holder of the lock as (pid, start), or () when the lock is free.
sub read_holder {
    my ($fh) = @_;
    seek($fh, 0, SEEK_SET);
    my $line = <$fh> // '';
    return () unless $line =~ /^(\d+) ?(\d*)$/;
    return holder_alive($1, $2) ? ($1, $2) : ();
}

sub write_holder {
    my ($fh, $line) = @_;
    seek($fh, 0, SEEK_SET) && truncate($fh, 0) or fail("cannot write the lock: $!");
    print {$fh} $line or fail("cannot write the lock: $!");
    $fh->flush && $fh->sync or fail("cannot write the lock: $!");
}

# One attempt: true when the lock is now held by `pid`.
sub try_lock {
    my ($pid) = @_;
    my $fh = open_state();
    my ($holder) = read_holder($fh);
    return 0 if defined $holder && $holder != $pid;
    my ($start) = process_start($pid);
    write_holder($fh, "$pid " . ($start // '') . "\n");
    close($fh);
    return 1;
}

sub unlock {
    my ($pid) = @_;
    my $fh = open_state();
    my ($holder) = read_holder($fh);
    return 0 if defined $holder && $holder != $pid;
    write_holder($fh, '');
    close($fh);
    return 1;
}

sub main {
    my $opt = parse_arguments(@ARGV);
    my ($action, $pid) = ($opt->{action}, $opt->{pid});
    return unlock($pid) ? 0 : 1 if $action eq 'UNLOCK';
    return try_lock($pid) ? 0 : 1 if $action eq 'TRYLOCK';
    my $deadline = time() + $opt->{timeout};
    while (1) {
        return 0 if try_lock($pid);
        return 1 if time() >= $deadline;
        sleep($POLL_SECONDS);
    }
}

exit(main());
