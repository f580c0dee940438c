// SPDX-License-Identifier: LGPL-2.1-or-later
#pragma once

namespace CommonPodsNs {

/// What a phone upload page asks for, and how the engine pushes the photos back.
enum RequestQRCodeTag {
    /// One photo, pushed as base64 bytes.
    RequestQRCodeTagPhotoBase64 = 1,
    /// Photos stored by the web service, pushed as addresses with their sizes.
    RequestQRCodeTagPhotoUrl = 3,
    /// Exam and homework answers, several photos, pushed as addresses.
    RequestQRCodeTagExamMultiple = 4,
    /// Exam and homework answers, one photo, pushed as an address.
    RequestQRCodeTagExamSingle = 5,
};

/// True for the tags above.
constexpr bool isRequestQRCodeTag(int tag)
{
    return tag == RequestQRCodeTagPhotoBase64 || tag == RequestQRCodeTagPhotoUrl || tag == RequestQRCodeTagExamMultiple
        || tag == RequestQRCodeTagExamSingle;
}

} // namespace CommonPodsNs
