"""The media blocks that qmfinfo delivers beside the packets that ffprobe reads from the same file."""

import peers


def same_time(ours, theirs, slack):
    """Rounding either way is the same time."""
    if theirs is None:
        return True
    units, denominator = theirs
    return abs(ours * denominator - units) < denominator * slack


def complaint(number, block, packet, slack):
    kind, stream, time, size, crc = packet
    if (block["kind"], block["stream"]) != (kind, stream):
        return f"block {number} is of {block['kind']}:{block['stream']}, not of {kind}:{stream}"
    if (block["size"], block["crc32"]) != (size, crc):
        return f"block {number}: {block['size']} bytes {block['crc32']}, not {size} bytes {crc}"
    if not same_time(block["time"], time, slack):
        return f"block {number} is at {block['time']}, not at {time[0] / time[1]}"
    return None


def played(recipe, path):
    """The packets that are to be delivered: the file's own, or of each stretch that is played, at its time there."""
    at = 0
    for name, start, end in recipe.plays:
        for kind, stream, (units, denominator), *data in peers.ffprobe_packets(
            path.with_name(name), recipe.time, recipe.ffprobe
        ):
            if start * denominator <= units < end * denominator:
                yield kind, stream, (units + (at - start) * denominator, denominator), *data
        at += end - start
    if not recipe.plays:
        yield from peers.ffprobe_packets(path, recipe.time, recipe.ffprobe)


def compare(qmfinfo, recipe, path):
    """The differences, as sentences."""
    *blocks, end = qmfinfo.blocks(path)
    packets = list(played(recipe, path))
    if not recipe.in_order:
        blocks.sort(key=lambda block: (block["kind"], block["stream"]))
        packets.sort(key=lambda packet: packet[:2])
    found = [complaint(number, *pair, recipe.time_slack) for number, pair in enumerate(zip(blocks, packets))]
    found = [text for text in found if text is not None][:10]
    if len(blocks) != len(packets):
        found.append(f"{len(blocks)} blocks, not {len(packets)}")
    if not packets or end.get("result_name") != "QMF_ERR_END_OF_STREAM":
        found.append(f"ends with {end} after {len(packets)} packets of the peer")
    return found
