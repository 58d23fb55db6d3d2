# A recording of the Vehicle Metadata Recorder for Kaitai Struct (https://kaitai.io), which makes a
# parser of it in a dozen languages. It describes one file: a flat file (.vmd) or one of the two
# files of a ring (.mtd). docs/format.md has the same in words, with the reasons, and is what counts
# where the two differ.
#
# What this description cannot express, and where docs/format.md explains it:
#
#   CRCs           of clusters and packets are fields here that nobody checks. A cluster whose CRC is
#                  wrong says nothing: read the same number from the ring's other file. That of a
#                  HEADER_CONT covers `len_items` bytes from the packet's first, no more.
#                  ("Packets", "When a record is valid", "Damage")
#   Ticks          a HEADER_2 has the low 8 bits; the upper 24 are those of the packet before it, or
#                  of its cluster's `first_tick` where that packet is lost. A HEADER_CONT has its
#                  packet's. A tick_adjust moves the item behind it. ("HEADER_2", "TICK ADJUST")
#   Times          are told by `time` items alone; those between are reckoned. ("Times")
#   Positions      gps_rel8 and gps_rel16 are ways from the last written position, and nothing
#                  without one. ("GpsRel8, GpsRel16")
#   The two files  of a ring hold the same clusters, written in turns: of each cluster the better
#                  copy counts. ("Rings")
#   Newest, oldest the ring's clusters lie in a circle; which one was written last is found by their
#                  `first_tick`. ("How to read a ring", "Rings")
#   Damage         from a byte on that begins no packet, take one byte at a time (packet_kind none of
#                  those below) until a packet with a right CRC stands there. The same from the byte
#                  behind the first one of a packet that is cut_short, of a dictionary whose `end` is
#                  not 0, and of a packet with a wrong CRC behind which no packet stands: a wrong
#                  length may have swallowed the next packets, and this description does not find
#                  its way again there. ("Damage")
#   Short files    fewer than 4 bytes, and a file of clusters that is no multiple of 4096, end in an
#                  error.
#   Marks of gaps  a HEADER_CONT without items says that something was lost before an extract was
#                  made. ("Completed by vmr")
meta:
  id: vmr_recording
  title: Recording of the Vehicle Metadata Recorder
  file-extension:
    - vmd
    - mtd
  ks-version: "0.9"
  endian: le
seq:
  - id: flat_file
    type: flat_file
    if: is_flat_file
  - id: clusters
    type: cluster
    size: 4096
    repeat: eos
    if: not is_flat_file
    doc: 32768 of them in a ring's file.
instances:
  first_bytes:
    pos: 0
    size: 4
  is_flat_file:
    value: first_bytes == [0x66, 0x5d, 0x53, 0x31]
    doc: What does not begin with "f]S1" is a file of clusters.
  descriptors:
    # By tag, as in a dictionary packet: bit 7 is set where a text follows, bits 0 to 5 are the bytes
    # of the whole item, or up to and with the byte that counts the text. 0 is no tag.
    value: |-
      [0x00, 0x00, 0x08, 0x05, 0x82, 0x82, 0x82, 0x82, 0x82, 0x83, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
       0x82, 0x82, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x03, 0x04, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00,
       0x82, 0x02, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
       0x00, 0x00, 0x00, 0x00, 0x01, 0x01, 0x01, 0x01, 0x01, 0x01, 0x01, 0x01, 0x01, 0x01, 0x01, 0x01,
       0x01, 0x01, 0x01, 0x01, 0x01, 0x01, 0x01, 0x01, 0x00, 0x00, 0x01, 0x01, 0x00, 0x00, 0x00, 0x00,
       0x83, 0x02, 0x00, 0x00, 0x03, 0x02, 0x01, 0x00, 0x85, 0x04, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
       0x84, 0x05, 0x05, 0x05, 0x05, 0x05, 0x05, 0x05, 0x02, 0x02, 0x02, 0x02, 0x02, 0x02, 0x02, 0x02,
       0x84, 0x02, 0x02, 0x02, 0x02, 0x02, 0x02, 0x02, 0x03, 0x03, 0x03, 0x03, 0x03, 0x03, 0x03, 0x00,
       0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
       0x83, 0x0a, 0x03, 0x05, 0x02, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
       0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
       0x09, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
       0x03, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
       0x00, 0x02, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
       0x83, 0x02, 0x02, 0x02, 0x02, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
       0x01, 0x82, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00]
types:

  # ---- Files ----------------------------------------------------------------------

  flat_file:
    seq:
      - id: magic
        contents: [0x66, 0x5d, 0x53, 0x31]
      - id: packets
        type: packet
        repeat: eos
        doc: A dictionary is the first.
  cluster:
    seq:
      - id: crc
        type: u1
        doc: CRC-8 (0x07, from 0xff) of the bytes 1 to len_used - 1.
      - id: first_tick
        type: u4
        doc: Of the first packet with one; 0xffffffff never written, 0xfffffffe none yet.
      - id: len_used
        type: u2
        doc: These seven bytes included.
    instances:
      has_sound_length:
        value: len_used >= 7 and len_used <= 4096
      is_never_written:
        value: first_tick == 0xffffffff
      payload:
        pos: 7
        size: len_used - 7
        type: packets
        if: has_sound_length
        doc: Look at it when the CRC is right; what lies behind it means nothing.
  packets:
    seq:
      - id: packets
        type: packet
        repeat: eos

  # ---- Packets ---------------------------------------------------------------------

  packet:
    seq:
      - id: kind
        type: u1
        enum: packet_kind
      - id: body
        type:
          switch-on: kind
          cases:
            'packet_kind::header_1': header_1
            'packet_kind::header_2': header_2
            'packet_kind::header_cont': header_cont
            'packet_kind::header_dictionary': header_dictionary
        if: is_whole
        doc: Nothing for HEADER_NULL, and for a byte that begins no packet.
      - id: cut_short
        size-eos: true
        if: not is_whole
    instances:
      ofs_body:
        value: _io.pos
      len_head:
        value: 'kind == packet_kind::header_1 ? 5 : kind == packet_kind::header_2 ? 2 : has_count ? 1 : 0'
        doc: Up to and with the byte that counts.
      has_count:
        value: kind.to_i >= 0x80 and kind.to_i <= 0x83
      has_head:
        value: ofs_body + len_head <= _io.size
      count:
        pos: ofs_body + len_head - 1
        type: u1
        if: has_count and has_head
      is_whole:
        value: >-
          not has_count or (has_head and ofs_body + len_head + 1 +
          (kind == packet_kind::header_dictionary ? 2 * count : count) <= _io.size)
  header_1:
    seq:
      - id: tick
        type: u4
        doc: Half seconds.
      - id: len_items
        type: u1
      - id: items
        type: items
        size: len_items
      - id: crc
        type: u1
        doc: CRC-8 (0x07, from 0xff) of all bytes before it, the packet's kind included.
  header_2:
    seq:
      - id: tick_low
        type: u1
        doc: The upper 24 bits are those of the packet before.
      - id: len_items
        type: u1
      - id: items
        type: items
        size: len_items
      - id: crc
        type: u1
        doc: As that of HEADER_1.
  header_cont:
    doc: Goes on with the packet before it, and has its tick.
    seq:
      - id: len_items
        type: u1
      - id: items
        type: items
        size: len_items
      - id: crc
        type: u1
        doc: Of the first len_items bytes of the packet only, from its kind on.
    instances:
      is_gap_mark:
        value: len_items == 0 and crc == 0xff
        doc: Something was lost here before this file was made.
  header_dictionary:
    doc: Which tags the writer knows. It helps in skipping and is not the authority.
    seq:
      - id: num_entries
        type: u1
      - id: entries
        type: dictionary_entry
        repeat: expr
        repeat-expr: num_entries
      - id: end
        type: u1
        doc: 0. There is no CRC.
  dictionary_entry:
    seq:
      - id: tag
        type: u1
        enum: tag
      - id: descriptor
        type: u1
        doc: As in `descriptors`.

  # ---- Items -----------------------------------------------------------------------

  items:
    seq:
      - id: items
        type: item
        repeat: eos
  item:
    seq:
      - id: tag
        type: u1
        enum: tag
      - id: body
        type:
          switch-on: tag
          cases:
            'tag::mac': mac
            'tag::time': time
            'tag::time_zone_name': text
            'tag::officer': text
            'tag::department': text
            'tag::vehicle': text
            'tag::badge_id': text
            'tag::version': version
            'tag::serial_number': text
            'tag::time_zone': text
            'tag::policy_8': policy_8
            'tag::policy_16': policy_16
            'tag::configuration_end': nothing
            'tag::log': text
            'tag::tick_adjust': tick_adjust
            'tag::emergency_lights_on': input
            'tag::emergency_lights_off': input
            'tag::siren_on': input
            'tag::siren_off': input
            'tag::brake_on': input
            'tag::brake_off': input
            'tag::covert_on': input
            'tag::covert_off': input
            'tag::auxiliary_input_on': input
            'tag::auxiliary_input_off': input
            'tag::door_on': input
            'tag::door_off': input
            'tag::system_power_on': input
            'tag::system_power_off': input
            'tag::accident_detect_on': input
            'tag::accident_detect_off': input
            'tag::ignition_on': input
            'tag::ignition_off': input
            'tag::recording_on': input
            'tag::recording_off': input
            'tag::docked_on': input
            'tag::docked_off': input
            'tag::camera_desc': camera_desc
            'tag::camera_state': camera_state
            'tag::video_stream_format': video_stream_format
            'tag::video_stream_state': video_stream_state
            'tag::bookmark': nothing
            'tag::mic_desc': mic_desc
            'tag::mic_data': mic_data
            'tag::radar_desc': device_desc
            'tag::radar_data_1': radar_data
            'tag::radar_data_2': radar_data
            'tag::radar_data_3': radar_data
            'tag::radar_data_4': radar_data
            'tag::radar_data_5': radar_data
            'tag::radar_data_6': radar_data
            'tag::radar_data_7': radar_data
            'tag::radar_target_1': radar_target
            'tag::radar_target_2': radar_target
            'tag::radar_target_3': radar_target
            'tag::radar_target_4': radar_target
            'tag::radar_target_5': radar_target
            'tag::radar_target_6': radar_target
            'tag::radar_target_7': radar_target
            'tag::radar_state': radar_state
            'tag::speed_desc': device_desc
            'tag::speed_8_1': speed_8
            'tag::speed_8_2': speed_8
            'tag::speed_8_3': speed_8
            'tag::speed_8_4': speed_8
            'tag::speed_8_5': speed_8
            'tag::speed_8_6': speed_8
            'tag::speed_8_7': speed_8
            'tag::speed_16_1': speed_16
            'tag::speed_16_2': speed_16
            'tag::speed_16_3': speed_16
            'tag::speed_16_4': speed_16
            'tag::speed_16_5': speed_16
            'tag::speed_16_6': speed_16
            'tag::speed_16_7': speed_16
            'tag::gps_desc': gps_desc
            'tag::gps_abs': gps_abs
            'tag::gps_rel8': gps_rel8
            'tag::gps_rel16': gps_rel16
            'tag::gps_state': gps_state
            'tag::lvs_state': lvs_state
            'tag::button': button
            'tag::volt_percent': volt_percent
            'tag::temp_desc': temp_desc
            'tag::temp_inlet': temp
            'tag::temp_outlet': temp
            'tag::temp_power': temp
            'tag::temp_cpu': temp
            'tag::eos': nothing
            'tag::test': text
        if: is_whole
      - id: rest
        size-eos: true
        if: not is_whole
        doc: Behind a number that is no tag, and in an item that reaches past its packet.
    instances:
      ofs_body:
        value: _io.pos
      number:
        value: tag.to_i
      descriptor:
        value: _root.descriptors[number]
      len_head:
        value: descriptor & 0x3f
      is_text:
        value: descriptor & 0x80 != 0
      has_head:
        value: len_head != 0 and ofs_body + len_head - 1 <= _io.size
      len_text:
        pos: ofs_body + len_head - 2
        type: u1
        if: is_text and has_head
      is_whole:
        value: 'has_head and (is_text ? ofs_body + len_head - 1 + len_text <= _io.size : true)'
  nothing:
    doc: The tag says all.
  input:
    doc: The tag says all. An even one is "on".
    instances:
      input:
        value: _parent.as<item>.number >> 1
        enum: input_id
      is_on:
        value: _parent.as<item>.number & 1 == 0
  mac:
    seq:
      - id: zero
        type: u1
      - id: address
        size: 6
        doc: As it is written down.
  time:
    seq:
      - id: seconds
        type: s4
        doc: Since 1970-01-01 00:00 UTC, at the item's tick. Negative ones count for nothing.
  text:
    seq:
      - id: len_text
        type: u1
      - id: text
        size: len_text
        doc: UTF-8, and where it is none ISO 8859-1.
  version:
    seq:
      - id: component
        type: u1
        enum: component
      - id: len_text
        type: u1
      - id: text
        size: len_text
  policy_8:
    seq:
      - id: policy
        type: u1
        doc: docs/format.md, "Policies", has the names.
      - id: value
        type: u1
  policy_16:
    doc: No recorder writes it.
    seq:
      - id: policy
        type: u1
      - id: value
        type: u2
  tick_adjust:
    seq:
      - id: ticks
        type: u1
        doc: So much earlier than its packet's tick is what the next item tells.
  camera_desc:
    seq:
      - id: port
        type: u1
      - id: len_text
        type: u1
      - id: text
        size: len_text
  camera_state:
    seq:
      - id: port
        type: b4
      - id: state
        type: b4
        enum: switch_state
  video_stream_format:
    seq:
      - id: stream
        type: b4
      - id: format
        type: b4
        enum: video_format
      - id: camera
        type: b4
        enum: format_camera
      - id: zeros
        type: b4
  video_stream_state:
    seq:
      - id: stream
        type: b4
      - id: state
        type: b4
        enum: switch_state
  mic_desc:
    seq:
      - id: stream_number
        type: u1
        doc: The unit's position of 0 is 2, of 1 is 0, of 2 is 1, of 3 is 3.
      - id: type
        type: u1
        doc: The number once more.
      - id: port
        type: u1
        doc: The number once more.
      - id: len_text
        type: u1
      - id: text
        size: len_text
  mic_data:
    seq:
      - id: stream_number
        type: u1
      - id: what
        type: u1
        enum: mic_value
      - id: value
        type: u1
        doc: 0 no, else yes.
  device_desc:
    doc: Of a radar or a source of speeds.
    seq:
      - id: id
        type: u1
      - id: units
        type: b3
        enum: speed_units
      - id: type
        type: b5
        doc: Of a speed device 0 disconnected, 1 gps, 2 radar; of a radar 0 disconnected, 1 generic.
      - id: len_text
        type: u1
      - id: text
        size: len_text
  radar_data:
    doc: 252 to 255 are words (reading_word), 1023 is no speed.
    seq:
      - id: direction
        type: b1
      - id: lock_high
        type: b2
      - id: fastest_high
        type: b2
      - id: target_high
        type: b2
      - id: zero
        type: b1
      - id: lock_low
        type: u1
      - id: fastest_low
        type: u1
      - id: target_low
        type: u1
    instances:
      radar:
        value: _parent.as<item>.number - 0x60
      lock:
        value: lock_high << 8 | lock_low
      fastest:
        value: fastest_high << 8 | fastest_low
      target:
        value: target_high << 8 | target_low
  radar_target:
    seq:
      - id: target
        type: u1
    instances:
      radar:
        value: _parent.as<item>.number - 0x67
  radar_state:
    seq:
      - id: connected
        type: b3
        doc: 1 connected; any other value is not.
      - id: radar
        type: b5
  speed_8:
    seq:
      - id: speed
        type: u1
    instances:
      device:
        value: _parent.as<item>.number - 0x70
  speed_16:
    seq:
      - id: speed
        type: u2
    instances:
      device:
        value: _parent.as<item>.number - 0x77
  gps_desc:
    seq:
      - id: one
        type: u1
      - id: len_text
        type: u1
      - id: text
        size: len_text
  gps_abs:
    seq:
      - id: quadrant
        type: u1
        doc: Bit 0 west, bit 1 south; above 3 it is no place.
      - id: latitude
        type: axis
      - id: longitude
        type: axis
    instances:
      latitude_tts:
        value: '(quadrant & 2) != 0 ? -latitude.tts : latitude.tts'
        doc: Ten-thousandths of a minute of arc, north positive.
      longitude_tts:
        value: '(quadrant & 1) != 0 ? -longitude.tts : longitude.tts'
        doc: Likewise, east positive.
  axis:
    seq:
      - id: degrees
        type: u1
      - id: minutes
        type: u1
      - id: fraction
        type: u2
        doc: Ten-thousandths of a minute.
    instances:
      tts:
        value: (degrees * 60 + minutes) * 10000 + fraction
  gps_rel8:
    seq:
      - id: north
        type: s1
        doc: Ten-thousandths of a minute since the last written position, north positive.
      - id: west
        type: s1
        doc: Likewise, but west positive.
  gps_rel16:
    seq:
      - id: north
        type: s2
      - id: west
        type: s2
  gps_state:
    seq:
      - id: available
        type: u1
        doc: 1 yes; any other value is no.
  lvs_state:
    seq:
      - id: stream
        type: b4
      - id: quality
        type: b2
        doc: 0 low, else high.
      - id: state
        type: b2
        doc: 0 disabled, else enabled.
      - id: port
        type: u2be
      - id: address
        type: u4be
        doc: IPv4.
      - id: camera
        type: u1
  button:
    seq:
      - id: button
        type: u1
        enum: button_id
      - id: action
        type: u1
        enum: button_action
  volt_percent:
    seq:
      - id: percent
        type: u1
  temp_desc:
    seq:
      - id: sensor
        type: u1
        enum: sensor
      - id: len_text
        type: u1
      - id: text
        size: len_text
  temp:
    seq:
      - id: degrees
        type: s1
    instances:
      sensor:
        value: _parent.as<item>.number - 0xe1
        enum: sensor
enums:
  packet_kind:
    0x80: header_1
    0x81: header_2
    0x82: header_cont
    0x83: header_dictionary
    0x84: header_null
  tag:
    0x02: mac
    0x03: time
    0x04: time_zone_name
    0x05: officer
    0x06: department
    0x07: vehicle
    0x08: badge_id
    0x09: version
    0x10: serial_number
    0x11: time_zone
    0x18: policy_8
    0x19: policy_16
    0x1a: configuration_end
    0x20: log
    0x21: tick_adjust
    0x34: emergency_lights_on
    0x35: emergency_lights_off
    0x36: siren_on
    0x37: siren_off
    0x38: brake_on
    0x39: brake_off
    0x3a: covert_on
    0x3b: covert_off
    0x3c: auxiliary_input_on
    0x3d: auxiliary_input_off
    0x3e: door_on
    0x3f: door_off
    0x40: system_power_on
    0x41: system_power_off
    0x42: accident_detect_on
    0x43: accident_detect_off
    0x44: ignition_on
    0x45: ignition_off
    0x46: recording_on
    0x47: recording_off
    0x4a: docked_on
    0x4b: docked_off
    0x50: camera_desc
    0x51: camera_state
    0x54: video_stream_format
    0x55: video_stream_state
    0x56: bookmark
    0x58: mic_desc
    0x59: mic_data
    0x60: radar_desc
    0x61: radar_data_1
    0x62: radar_data_2
    0x63: radar_data_3
    0x64: radar_data_4
    0x65: radar_data_5
    0x66: radar_data_6
    0x67: radar_data_7
    0x68: radar_target_1
    0x69: radar_target_2
    0x6a: radar_target_3
    0x6b: radar_target_4
    0x6c: radar_target_5
    0x6d: radar_target_6
    0x6e: radar_target_7
    0x6f: radar_state
    0x70: speed_desc
    0x71: speed_8_1
    0x72: speed_8_2
    0x73: speed_8_3
    0x74: speed_8_4
    0x75: speed_8_5
    0x76: speed_8_6
    0x77: speed_8_7
    0x78: speed_16_1
    0x79: speed_16_2
    0x7a: speed_16_3
    0x7b: speed_16_4
    0x7c: speed_16_5
    0x7d: speed_16_6
    0x7e: speed_16_7
    0x90: gps_desc
    0x91: gps_abs
    0x92: gps_rel8
    0x93: gps_rel16
    0x94: gps_state
    0xb0: lvs_state
    0xc0: button
    0xd1: volt_percent
    0xe0: temp_desc
    0xe1: temp_inlet
    0xe2: temp_outlet
    0xe3: temp_power
    0xe4: temp_cpu
    0xf0: eos
    0xf1: test
  input_id:
    # Half of its two tags.
    0x1a: emergency_lights
    0x1b: siren
    0x1c: brake
    0x1d: covert
    0x1e: auxiliary_input
    0x1f: door
    0x20: system_power
    0x21: accident_detect
    0x22: ignition
    0x23: recording
    0x25: docked
  component:
    0: invalid
    1: mainboard
    2: system_software
    3: iop
    4: system_fpga
    5: front_panel
    6: pendry
    7: split_screen_fpga
    8: power_board_software
    9: power_board_hardware
  switch_state:
    0: 'off'
    1: 'on'
    2: background
  video_format:
    0: none
    1: d1
    2: cif
    3: qcif
    4: format_720p
    5: format_1080p
  format_camera:
    0: port_0
    1: port_1
    2: port_2
    3: port_3
    4: split_screen
    5: none
  mic_value:
    1: present
    2: 'on'
  speed_units:
    0: none
    1: km_h
    2: mph
    3: as_set_on_radar
  reading_word:
    252: tst
    253: err
    254: blank
    255: bad
  button_id:
    0: power
    1: record
    2: backlight
  button_action:
    0: pressed
    1: long_pressed
    2: released
  sensor:
    0: inlet
    1: outlet
    2: power
    3: cpu
