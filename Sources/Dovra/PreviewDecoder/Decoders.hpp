#pragma once

#include "PreviewDecoder/DecodedFile.hpp"

namespace dovra {

// Each decoder knows files of its kind by their contents. It returns false, and has said nothing, for any
// other file. A file of its kind that it cannot draw is a DecodingError.

/// Pictures of pixels: the first one, turned as its camera was held.
bool decodeImage(DecodedFile& file);

/// Documents of pages: the first page.
bool decodeDocument(DecodedFile& file);

/// Drawings of lines and areas, which may name no other files.
bool decodeDrawing(DecodedFile& file);

/// Sound, video, and pictures of formats that only their makers draw: facts, and the picture on the cover.
bool decodeMedia(DecodedFile& file);

/// A thumbnail of the desktop's cache. A DecodingError unless it was made of a file that was changed last at
/// that time, in seconds since 1970.
void decodeThumbnail(DecodedFile& file, const QString& modified);

}  // namespace dovra
