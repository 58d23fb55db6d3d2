"""The cases: what each tests, and its bytes. Every expectation is expected/NAME.jsonl."""

from recipes import (Case, NEVER_WRITTEN, Ring, cluster, cont, filler, flat, hdr1, hdr2, mirrored,
                     raw, spoilt, text)

NO_FIRST_TICK = 0xFFFFFFFE
LAP = 32768

# Times, seconds since 1970: 1700000000 is 2023-11-14T22:13:20Z.
NOON = "03 00 F1 53 65"  # 1700000000
HERE = "91 00 0A 00 00 00 14 00 00 00"  # 10 north, 20 east
NORTH_WEST = "91 01 29 27 96 00 5D 1D A6 25"  # 41 39.0150 north, 93 29.9638 west

# A full state: the end of a configuration, the eleven inputs and more than 100 bytes.
INPUTS_OFF = "35 37 39 3D 3F 41 43 45 47 3B 4B"
FILL = "18 26 01" * 30


def full_state(more=""):
    return f"{FILL} 1A {INPUTS_OFF} {more}"


def every_kind():
    """An item of every tag, each in a packet of its own, from tick 1 on."""
    items = [
        "02 00 02 00 5E 10 AB CD", NOON, "04 03 43 53 54", "05 03 41 6E 6E", "06 02 50 44",
        "07 01 37", "08 02 34 32", "09 01 01 32", "10 01 39", "11 03 55 54 43", "18 26 01",
        "19 42 2C 01", "1A", "20 02 68 69", "21 02", *(f"{tag:02X}" for tag in range(0x34, 0x48)),
        "4A", "4B", "50 00 05 46 72 6F 6E 74", "51 12", "54 14 30", "55 21", "56",
        "58 01 01 01 03 24 24 41", "59 01 02 01", "60 01 61 01 52",
        *(f"{0x61 + n:02X} 8A 05 06 07" for n in range(7)),
        *(f"{0x68 + n:02X} {40 + n:02X}" for n in range(7)), "6F 21", "70 01 41 01 47",
        *(f"{0x71 + n:02X} {50 + n:02X}" for n in range(7)),
        *(f"{0x78 + n:02X} 80 0{n}" for n in range(7)), "90 01 01 47", NORTH_WEST, "92 01 FF",
        "93 00 01 FF FF", "94 01", "B0 15 13 88 0A 00 00 01 03", "C0 01 02", "D1 60",
        "E0 01 01 4F", "E1 19", "E2 F6", "E3 80", "E4 7F", "F1 02 6F 6B", "F0"]
    return [hdr1(tick, item) for tick, item in enumerate(items, 1)]


FLAT_CASES = [
    Case("flat_empty", "a magic and nothing else is an empty recording", flat()),
    Case("flat_dictionary", "a dictionary and null headers hold no records, and harm none",
         flat(raw("83 02 56 01 20 82 00"), raw("84 84"), hdr1(5, "36"), raw("84"), hdr2(6, "37"))),
    Case("flat_every_kind", "an item of every tag, and what each field of it says",
         flat(*every_kind())),
    Case("flat_short_headers", "a short header has the upper 24 bits of the tick before",
         flat(hdr1(0x12345601, "36"), hdr2(0xFF, "37"), hdr1(0x12345700, "36"), hdr2(1, "37"))),
    Case("flat_continuations", "continuations are of the tick of the packet that they go on from",
         flat(hdr1(7, "36 38"), cont("3A 3C 3E"), cont("40 42 44"), hdr2(8, "56"))),
    Case("flat_no_tick", "what nothing tells the tick of has none: a short header before any whole"
         " one, continuations without their packet, the tick 0xFFFFFFFF",
         flat(cont("36 38 3A"), hdr2(0xFF, "56"), hdr1(0xFFFFFFFF, "36"), hdr1(9, "37"))),
    Case("flat_end_of_32_bits", "ticks go on through the end of 32 bits, and times with them",
         flat(hdr1(0xFFFFFFF0, NOON), hdr1(0x10, "36"), hdr2(0x12, "37"))),
    Case("flat_new_run", "ticks that fall begin another run: nothing is carried over from the one"
         " before, neither time nor position",
         flat(hdr1(500000, NOON + HERE), hdr1(7, "92 01 01"), hdr1(9, "03 F0 F1 53 65"))),
    Case("flat_clock_set_forward", "a time more than a second ahead of the reckoning is a step",
         flat(hdr1(10, NOON), hdr1(30, "03 0C F1 53 65"), hdr1(32, "36"))),
    Case("flat_clock_set_back", "so is one that is behind it",
         flat(hdr1(10, NOON), hdr1(30, "03 00 F1 53 65"), hdr1(32, "36"))),
    Case("flat_clock_within_a_second", "a time within a second of the reckoning is none, and what"
         " follows counts from it",
         flat(hdr1(10, NOON), hdr1(30, "03 0B F1 53 65"), hdr1(32, "36"))),
    Case("flat_adjusted_ticks", "a tick adjust is taken off the tick of the item behind it in its"
         " packet, and of that alone; of two in a row the second counts",
         flat(hdr1(100, NOON), hdr1(200, "21 0A 34 36"), hdr1(300, "36 21 03"), cont("38 3A 3C"),
              hdr1(400, "21 02 21 03 3E"))),
    Case("flat_adjusted_time", "a time behind a tick adjust is that of the earlier tick, reckoned"
         " backwards as forwards",
         flat(hdr1(4, "36"), hdr1(12, "38 21 04 03 00 F1 53 65 3A"), hdr2(20, "3C"))),
    Case("flat_times_before_the_first", "times in front of the first one are reckoned backwards",
         flat(hdr1(4, "36"), hdr1(9, "38"), hdr1(10, "3A" + NOON + "3C"))),
    Case("flat_time_that_is_none", "a negative time tells nothing",
         flat(hdr1(4, "03 FF FF FF FF 36"), hdr1(9, "38"))),
    Case("flat_unknown_tag", "an unknown tag hides the rest of its packet, and the rest only",
         flat(hdr1(4, "36 FF 38 3A"), hdr2(5, "56"))),
    Case("flat_item_past_its_packet", "so does an item that reaches past its packet",
         flat(hdr1(4, "36 05 09 41"), hdr2(5, "56"))),
    Case("flat_item_0x04", "what stands behind the time zone's display name is read",
         flat(hdr1(4, "04 02 43 54 36"))),
    Case("flat_wrong_crc", "the records of a packet with a wrong CRC are marked, and nothing that"
         " was known before holds behind them: no position, no exact time",
         flat(hdr1(4, NOON + HERE), hdr2(6, "36 92 01 01", wrong=True), hdr2(8, "92 01 01"),
              hdr2(10, "03 03 F1 53 65"))),
    Case("flat_wrong_crc_of_a_whole_header", "a tick under a wrong CRC holds for its own packet:"
         " short headers behind it have none until a whole one tells it",
         flat(hdr1(10, "36"), hdr1(300, "37", wrong=True), hdr2(50, "36"), hdr1(310, "37"))),
    Case("flat_two_wrong_crcs", "what follows a packet with a wrong CRC may have a wrong one itself:"
         " each is a gap of its own, behind its own records",
         flat(hdr1(4, NOON + HERE), hdr2(6, "36", wrong=True), hdr2(7, "92 01 01", wrong=True),
              hdr2(8, "38"), hdr1(300, "37", wrong=True), hdr1(310, "36", wrong=True),
              hdr2(0x40, "38"), hdr1(330, "3A"))),
    Case("flat_uncovered_bytes", "the last two item bytes of a continuation are in no CRC: other"
         " ones are right, too",
         flat(hdr1(4, "36"), cont("38 3A 3C 3E")[:4] + raw("40 42") + cont("38 3A 3C 3E")[-1:])),
    Case("flat_cut_short", "a packet that the file's end has cut is an unfinished tail: a gap",
         flat(hdr1(4, "36"), hdr1(6, "34 36 38")[:-2])),
    Case("flat_garbage_between", "bytes that begin no packet are a gap up to the next packet with a"
         " right CRC; a short header behind it has no tick",
         flat(hdr1(4, "36"), raw("00 11 22 33"), hdr2(6, "38"), raw("55 66"), hdr1(8, "3A"))),
    Case("flat_length_too_long", "a length that swallows the next packets: those that stand there"
         " are found", flat(hdr1(4, "36"), raw("81 05 40 38 00"), hdr1(6, "3A"), hdr2(7, "3C"))),
    Case("flat_dictionary_ends_wrong", "a dictionary that does not end with 0 is none, and hides no"
         " packet that stands in it",
         flat(hdr1(4, "36"), raw("83 05"), hdr1(6, "34"), hdr2(7, "38"))),
    Case("flat_gap_mark", "the mark of a gap: nothing is known behind it, ticks neither",
         flat(hdr1(10, NOON + HERE), raw("82 00 FF"), hdr2(20, "92 01 01"),
              hdr1(300, "92 01 01"), hdr2(0x2E, HERE))),
    Case("flat_gaps_that_join", "a gap behind the continuation that tells a time joins the one in"
         " front of it: the time in between is sure for neither",
         flat(hdr1(10, "36 FF"), cont(NOON), raw("00 11 22 33"), hdr1(30, "38"))),
    Case("flat_gap_among_continuations", "behind a gap among the packets of a tick the next time"
         " counts, not the one that the tick has told before",
         flat(hdr1(10, NOON), cont("38 FF"), cont("3A 3C"), hdr1(30, "3E"),
              hdr1(40, "03 64 F1 53 65"))),
    Case("flat_quadrants", "bit 0 of the quadrant is west, bit 1 south; ways count north and west"
         " as positive in all of them",
         flat(*(hdr1(tick, f"91 0{tick} 29 27 96 00 5D 1D A6 25 92 02 03 93 00 80 01 00")
                for tick in range(4)))),
    Case("flat_ways_without_a_position", "a way without a whole position before it leads nowhere",
         flat(hdr1(1, "92 01 01"), hdr2(2, "93 01 00 01 00"), hdr2(3, HERE), hdr2(4, "92 01 01"))),
    Case("flat_across_the_lines", "ways go on across the equator, the zero meridian and the date"
         " line", flat(hdr1(1, "91 00 00 00 05 00 00 00 05 00"), hdr2(2, "92 F6 0A"),
                       hdr1(9, "91 00 00 00 00 00 B3 3B 0B 27"), hdr2(10, "92 00 F6"),
                       hdr2(11, "92 00 0A"))),
    Case("flat_no_place_on_earth", "a position that is none: quadrant, degrees, minutes, fractions"
         " out of range", flat(*(hdr1(tick, item) for tick, item in enumerate(
             ["91 04 29 27 96 00 5D 1D A6 25", "91 00 5B 00 00 00 00 00 00 00",
              "91 00 00 3C 00 00 00 00 00 00", "91 00 00 00 10 27 00 00 00 00",
              "91 00 00 00 00 00 B4 00 01 00", "92 01 01"], 1)))),
    Case("flat_texts", "texts of no length, of the longest, with hidden characters, in UTF-8",
         flat(hdr1(1, text(0x20, "")), hdr1(2, text(0x20, "x" * 253)),
              hdr1(3, text(0x05, "J\u00fcrgen \u202e \u0007\"\\")),
              hdr1(4, text(0x08, "=1+1\r\n")))),
    Case("flat_texts_no_utf8", "bytes that are no UTF-8 are ISO 8859-1 one by one, and told as"
         " they are", flat(hdr1(1, text(0x05, b"J\xfcrgen")), hdr1(2, text(0x20, b"\xc3\xbc \xc3")),
                           hdr1(3, text(0x20, b"\xed\xa0\x80 \xc0\xaf")))),
    Case("flat_radar", "readings, status words instead of readings, and readings that are absent",
         flat(hdr1(1, "61 00 00 00 3D"), hdr1(2, "61 00 FC FD FE"), hdr1(3, "61 7E FF FF FF"),
              hdr1(4, "61 AA 01 02 03"), hdr1(5, "68 FF"), hdr1(6, "6F 41 6F 01"))),
    Case("flat_microphones", "stream numbers and positions are two numberings; above 3 no position"
         " is known",
         flat(*(hdr1(tick, item) for tick, item in enumerate(
             [*(f"58 0{n} 0{n} 0{n} 03 24 24 41 59 0{n} 01 01" for n in range(5)),
              "58 FF FF FF 02 24 24", "59 FF 02 00", "59 01 03 01"], 1)))),
    Case("flat_speeds", "one byte and two, low and high, and the status words; 508 is a speed",
         flat(hdr1(1, "71 00 71 7F"), hdr1(2, "78 80 00 78 FF FF"), hdr1(3, "72 FC 79 FD 00"),
              hdr1(4, "79 FC 01 79 FF 03"))),
    Case("flat_full_state", "what a full state says that was known, or that nothing had told, is a"
         " repetition; what differs is a change",
         flat(hdr1(4, "71 20 34" + HERE), hdr1(5, full_state("71 20 E1 05")), cont(HERE),
              hdr2(6, "71 21"))),
    Case("flat_configuration", "a configuration is no full state: the inputs are missing",
         flat(hdr1(4, "18 26 01" * 40 + "1A"))),
    Case("flat_extract_by_a_unit", "the position in a unit's extract is not to be relied on until"
         " one is copied",
         flat(hdr1(8, text(0x20, "Range 8 to 9") + raw(HERE)), hdr2(9, "92 01 00"),
              hdr2(10, NORTH_WEST))),
    Case("flat_extract_completed", "that of a completed extract is; its time may be an estimate, and"
         " is counted from up to the next one",
         flat(hdr1(8, text(0x20, "Range 8 to 9") + text(
             0x20, "State completed by vmr: 3 kept; its time is an estimate")
                   + raw(NOON) + raw(HERE)), hdr2(9, "92 01 00"),
              hdr2(40, "36 03 14 F1 53 65 38"))),
]

DRIVE = [cluster(1, hdr1(1, NOON + HERE), hdr2(2, "36"), hdr2(3, "92 01 01")),
         cluster(4, hdr2(4, "37"), hdr2(5, "92 01 01"), hdr2(6, "38")),
         cluster(7, hdr2(7, "39"), hdr2(8, "92 01 01"))]
LESS = cluster(7, hdr2(7, "39"))  # the last one without its last packet


def clusters(*blocks):
    return dict(enumerate(blocks))


def lap_with(special, newest=5, first=1000):
    """A wrapped ring: clusters behind `newest` come first, each one tick later."""
    return mirrored(special, (newest, first))


def tick_of(n, newest=5, first=1000):
    return first + (n - newest - 1) % LAP


RING_CASES = [
    Case("ring_empty", "a ring that was made and never written", mirrored({})),
    Case("ring_one_packet", "one packet", mirrored(clusters(cluster(1, hdr1(1, "36"))))),
    Case("ring_several_clusters", "clusters one after the other; short headers go on across them",
         mirrored(clusters(*DRIVE))),
    Case("ring_continued", "a continuation that opens a cluster belongs to the packet before it;"
         " its cluster has no first tick, or that of the next packet",
         mirrored(clusters(cluster(1, hdr1(1, "36 38")), cluster(NO_FIRST_TICK, cont("3A 3C 3E")),
                           cluster(2, cont("40 42 44"), hdr2(2, "37"))))),
    Case("ring_bytes_behind_the_size", "what stands behind a cluster's size means nothing",
         mirrored(clusters(DRIVE[0][:100].ljust(200, b"\0") + hdr1(9, "3A") + b"\xa5" * 3888))),
    Case("ring_torn_last_cluster", "the last write of a cluster is torn: the other file has it"
         " with a packet less", mirrored(clusters(*DRIVE[:2], (spoilt(DRIVE[2], 30), LESS)))),
    Case("ring_torn_first_write", "the first write of a cluster is torn, in a file that the other"
         " is behind of: no gap, an unfinished tail",
         mirrored(clusters(*DRIVE[:2], (spoilt(DRIVE[2]), cluster(NEVER_WRITTEN))))),
    Case("ring_bad_in_one_file", "clusters bad in one file are read from the other",
         mirrored(clusters((spoilt(DRIVE[0]), DRIVE[0]), (DRIVE[1], spoilt(DRIVE[1])), DRIVE[2]))),
    Case("ring_bad_in_both_files", "a cluster bad in both files is a gap; behind it the cluster's"
         " first tick gives the upper bits, and no position holds",
         mirrored(clusters(cluster(0x1201, hdr1(0x1201, NOON + HERE)),
                           (spoilt(DRIVE[1]), spoilt(DRIVE[1], 9)),
                           cluster(0x1307, hdr2(7, "39"), hdr2(8, "92 01 01"), hdr2(9, HERE)),
                           cluster(0x130A, hdr2(10, "36"))))),
    Case("ring_continuation_behind_a_lost_cluster", "a continuation whose packet is lost has no"
         " tick", mirrored(clusters(DRIVE[0], (spoilt(DRIVE[1]), spoilt(DRIVE[1])),
                                    cluster(7, cont("3A 3C 3E"), hdr2(7, "39")),
                                    cluster(8, hdr2(8, "38"))))),
    Case("ring_copies_of_different_age", "of each cluster the fuller copy counts, whichever file"
         " has it", mirrored(clusters((DRIVE[0], cluster(1, hdr1(1, NOON + HERE))),
                                      (cluster(4, hdr2(4, "37")), DRIVE[1]), (DRIVE[2], LESS)))),
    Case("ring_copies_that_differ", "of two copies of which neither begins the other the one of the"
         " later first tick counts, else that of file 1",
         mirrored(clusters(DRIVE[0], (DRIVE[1], cluster(4, hdr2(4, "37"), hdr2(5, "39"),
                                                        hdr2(6, "3A"), hdr2(7, "3B"))),
                           (cluster(8, hdr2(8, "39")), cluster(9, hdr2(9, "3A"), hdr2(10, "3C")))))),
    Case("ring_search_meets_bad", "a cluster far behind the newest that is bad in both files does"
         " not make a ring one that has wrapped",
         mirrored({**clusters(*DRIVE), 16383: (spoilt(cluster(NEVER_WRITTEN), 2),
                                               spoilt(cluster(NEVER_WRITTEN), 3))})),
    Case("ring_first_file_missing", "one file is enough",
         Ring({"2": clusters(*DRIVE)}, None)),
    Case("ring_second_file_missing", "one file is enough",
         Ring({"1": clusters(*DRIVE)}, None)),
    Case("ring_wrong_packet_crc", "a packet's wrong CRC under a right one of its cluster",
         mirrored(clusters(cluster(1, hdr1(1, NOON), hdr2(2, "36", wrong=True), hdr2(3, "37"))))),
    Case("ring_new_run", "in a ring that has not wrapped a cluster of lower ticks is of another run,"
         " though the next one's are higher again: there was no lap before",
         mirrored(clusters(*(cluster(tick, hdr1(tick, "56")) for tick in (1, 50, 7, 60))))),
    Case("ring_wrapped", "a ring that has come round begins behind its newest cluster; what stood"
         " there before is overwritten",
         lap_with({4: cluster(tick_of(4), hdr1(tick_of(4), "36")),
                   5: cluster(tick_of(5), hdr1(tick_of(5), "37")),
                   6: cluster(tick_of(6), hdr2(tick_of(6) & 0xFF, "38")),
                   7: cluster(tick_of(7), hdr2(tick_of(7) & 0xFF, "39"))})),
    Case("ring_wrapped_at_its_end", "the newest cluster is the last of the files",
         lap_with({32767: cluster(tick_of(32767, 32767), hdr1(tick_of(32767, 32767), "36")),
                   0: cluster(tick_of(0, 32767), hdr1(tick_of(0, 32767), "38"))}, 32767)),
    Case("ring_wrapped_begins_bad", "the oldest cluster is bad in both files, and joins what is"
         " overwritten",
         lap_with({6: (spoilt(filler(tick_of(6)), 8), spoilt(filler(tick_of(6)), 9)),
                   7: cluster(tick_of(7), hdr2(tick_of(7) & 0xFF, "38")),
                   5: cluster(tick_of(5), hdr1(tick_of(5), "37"))})),
    Case("ring_wrapped_search_meets_bad", "a cluster bad in both files that a search needs is lost;"
         " where the ring begins is told by the others",
         lap_with({16383: (spoilt(filler(tick_of(16383)), 8), spoilt(filler(tick_of(16383)), 9)),
                   4: cluster(tick_of(4), hdr1(tick_of(4), "36")),
                   5: cluster(tick_of(5), hdr1(tick_of(5), "37")),
                   7: cluster(tick_of(7), hdr1(tick_of(7), "38"))})),
    Case("ring_one_file_behind", "a cluster of the lap before in one file: the other has been"
         " there",
         lap_with({5: (filler(tick_of(5) - LAP), cluster(tick_of(5), hdr1(tick_of(5), "37"))),
                   3: (cluster(tick_of(3), hdr1(tick_of(3), "36")), filler(tick_of(3) - LAP))})),
    Case("ring_cluster_of_the_lap_before", "a cluster that both files have missed holds what was"
         " recorded a lap before: it is lost, and no run of the unit begins there",
         lap_with({n: cluster(tick_of(n, 3000, 100000) - lap,
                              hdr1(tick_of(n, 3000, 100000) - lap, "36"))
                   for n, lap in ((1999, 0), (2000, LAP), (2001, 0), (2500, LAP), (3000, 0))},
                  3000, 100000)),
]

CASES = FLAT_CASES + RING_CASES
