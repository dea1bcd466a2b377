#!/usr/bin/perl
# update_status.pl: keeps the update status that users see ("ZRUpdate -s").
#
#   update_status.pl --action update --id ID --status request|download|install
#                    [--downloaded_size N --total_size N]
#
# ZRUpdate runs it at every step of an update: "request" when it asks the
# update server, "download" with the byte counts while a package arrives,
# "install" once the packages are downloaded and verified and their
# installation begins. Each report updates the record of the product (of
# every product in the inventory for id 0) in "conf/zr-lastupdate" under the
# home: LastUpdate is the time of the last request, LastSuccessUpdate the time
# of the last update whose packages all arrived, LastUpdateStatus the step
# reached and UpdateMessage a sentence about it.
#
# The record is replaced whole (new file, fsync, rename, fsync of the folder)
# under a lock, so that the status command never reads half a file and two
# updates reporting at once never lose each other's product.
#
# The home is the folder above the one that holds this script (the script is
# installed as <home>/bin/update_status.pl). Exit status: 0 done, 2 bad
# arguments or the record could not be written (ZRUpdate ignores it).
use strict;
use warnings;
use Fcntl qw(:flock O_WRONLY O_CREAT O_EXCL O_RDWR O_NOFOLLOW);
use IO::Handle;

my @FIELDS = qw(ProductID LastUpdate LastSuccessUpdate LastUpdateStatus UpdateMessage);

sub fail {
    print STDERR "update_status.pl: $_[0]\n";
    exit 2;
}

# The folder part of a path ("." for a bare name). The script runs at every
# 5 % of a download, so it keeps to the few modules it needs.
sub dirname {
    my ($path) = @_;
    return $path =~ m{^(.*)/[^/]*$}s ? ($1 eq '' ? '/' : $1) : '.';
}

sub home_dir {
    my $script = $0;
    if ($script !~ m{^/}) {
        require Cwd;
        $script = Cwd::abs_path($script);
    }
    return dirname(dirname($script));
}

# The arguments are "--name value" pairs, parsed by hand rather than with
# Getopt::Long.
sub parse_arguments {
    my %opt;
    my @args = @_;
    while (@args) {
        my $name = shift(@args);
        fail("unknown argument $name")
            unless $name =~ /^--(action|id|status|downloaded_size|total_size)$/ && @args;
        $opt{$1} = shift(@args);
    }
    fail('--action update expected') unless ($opt{action} // '') eq 'update';
    fail('--id must be a decimal number') unless ($opt{id} // '') =~ /^\d+$/;
    my $status = $opt{status} // '';
    fail('--status request, download or install expected')
        unless $status =~ /^(request|download|install)$/;
    if ($status eq 'download') {
        for my $size (qw(downloaded_size total_size)) {
            fail("--$size must be a decimal number") unless ($opt{$size} // '') =~ /^\d+$/;
        }
    }
    return \%opt;
}

# Attribute values are written with every character that the reader would
# change or choke on as a reference: the markup characters, and tab, carriage
# return and line feed, which a parser turns into blanks when they stand raw.
my %ESCAPES = ('&' => '&amp;', '<' => '&lt;', '>' => '&gt;', '"' => '&quot;',
               "\t" => '&#9;', "\n" => '&#10;', "\r" => '&#13;');

sub xml_escape {
    my ($text) = @_;
    $text =~ s/([&<>"\t\n\r])/$ESCAPES{$1}/g;
    return $text;
}

# Calls `on_element(depth, name, attributes)` for every element of the file
# (the root at depth 1) and returns true when the whole file is well-formed
# XML. Quoting, character references and comments are the parser's business;
# values come back as Perl text. The parser is loaded only here, so that a
# report with nothing to read does not pay for it.
sub parse_file {
    my ($path, $on_element) = @_;
    open(my $fh, '<', $path) or return 0;
    require XML::Parser;
    my $depth = 0;
    my $parser = XML::Parser->new(
        Handlers => {
            Start => sub {
                my (undef, $name, %attributes) = @_;
                $on_element->(++$depth, $name, \%attributes);
            },
            End => sub { --$depth },
            # A document never reaches outside itself.
            ExternEnt => sub { die "external entity refused\n" },
        });
    my $ok = eval { $parser->parse($fh); 1 };
    close($fh);
    return $ok;
}

# The product records of the current file, in order (attribute names in any
# case, as the program reads them). A missing or broken file gives no
# records: the status is rebuilt from now on.
sub read_records {
    my ($path) = @_;
    my (@records, $root);
    my $parsed = parse_file($path, sub {
        my ($depth, $name, $attributes) = @_;
        $root //= $name;
        return unless $depth == 2 && $root eq 'UpdateInfo';
        my %record;
        for my $given (keys %$attributes) {
            my ($known) = grep { lc($_) eq lc($given) } @FIELDS;
            $record{$known // $given} = $attributes->{$given};
        }
        push(@records, \%record) if defined $record{ProductID};
    });
    return $parsed ? \@records : [];
}

# Ids of the registered products, for a report about all of them (id 0).
sub inventory_ids {
    my ($home) = @_;
    my @ids;
    parse_file("$home/conf/zr-inventory", sub {
        my (undef, $name, $attributes) = @_;
        return unless $name eq 'ProductInfo';
        my ($id) = map { $attributes->{$_} } grep { lc($_) eq 'id' } keys %$attributes;
        push(@ids, $id) if defined $id && $id =~ /^\d+$/;
    });
    return @ids;
}

sub apply_report {
    my ($record, $opt, $now) = @_;
    my $status = $opt->{status};
    $record->{LastUpdateStatus} = $status;
    if ($status eq 'request') {
        $record->{LastUpdate} = $now;
        $record->{UpdateMessage} = 'Checking for updates';
    } elsif ($status eq 'download') {
        $record->{UpdateMessage} =
            "Downloading updates: $opt->{downloaded_size} of $opt->{total_size} bytes";
    } else {
        $record->{LastSuccessUpdate} = $now;
        $record->{UpdateMessage} = 'Updates downloaded, installing';
    }
}

sub document_text {
    my ($records) = @_;
    my $text = qq(<?xml version="1.0" encoding="UTF-8"?>\n<UpdateInfo>\n);
    for my $record (@$records) {
        my @names = (@FIELDS, sort grep { my $n = $_; !grep { $_ eq $n } @FIELDS } keys %$record);
        $text .= '<Product'
            . join('', map { " $_=\"" . xml_escape($record->{$_} // '') . '"' } @names) . "/>\n";
    }
    $text .= "</UpdateInfo>\n";
    # Values read back are Perl text; the file is UTF-8, as it says.
    utf8::encode($text);
    return $text;
}

# Replaces `path` with `text`: a new file beside it, written and synced, then
# renamed over the old one, then the folder synced so the rename lasts.
sub replace_file {
    my ($path, $text) = @_;
    my $temporary = "$path.new.$$";
    unlink($temporary);
    sysopen(my $fh, $temporary, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0644)
        or fail("cannot create $temporary: $!");
    my $ok = print {$fh} $text;
    $ok &&= $fh->flush && $fh->sync;
    $ok = close($fh) && $ok;
    $ok &&= rename($temporary, $path);
    if (!$ok) {
        my $reason = "$!";
        unlink($temporary);
        fail("cannot write $path: $reason");
    }
    # fsync of the folder through a read handle on it
    if (open(my $dh, '<', dirname($path))) {
        $dh->sync;
        close($dh);
    }
}

sub main {
    my $opt = parse_arguments(@ARGV);
    my $home = home_dir();
    my $path = "$home/conf/zr-lastupdate";

    # One report at a time: concurrent updates each read the other's result.
    mkdir("$home/tmp", 0755) unless -d "$home/tmp";
    sysopen(my $lock, "$home/tmp/zr-lastupdate.lock", O_RDWR | O_CREAT | O_NOFOLLOW, 0600)
        or fail("cannot open the lock file: $!");
    flock($lock, LOCK_EX) or fail("cannot lock: $!");

    my $records = read_records($path);
    my @ids = $opt->{id} == 0 ? inventory_ids($home) : ();
    @ids = ($opt->{id}) unless @ids;
    my @t = localtime;
    my $now = sprintf('%04d-%02d-%02d %02d:%02d:%02d', $t[5] + 1900, $t[4] + 1, @t[3, 2, 1, 0]);
    for my $id (@ids) {
        my ($record) = grep { $_->{ProductID} eq $id } @$records;
        if (!$record) {
            $record = { ProductID => $id };
            push(@$records, $record);
        }
        apply_report($record, $opt, $now);
    }
    replace_file($path, document_text($records));
    close($lock);
    return 0;
}

exit(main());
