// The Quorvex CAM list element, in both directions: written from rows of the
// Quorvex table (getQuorvexCAMList, the key request of the poll cycle) and
// read back into column values (setQuorvexCAMList, the server's key reply).
//
//   <list><cam><serialNumber/><publicKey/><manufacturer/><registerDate/>
//             <ekShared/><description/></cam>...</list>
#pragma once

#include "common/xml.h"
#include "db/record.h"

#include <map>
#include <string>
#include <vector>

namespace dorel_remote_control {

// What each written "cam" carries besides "serialNumber".
struct CamListFields {
    bool hasPublicKey = false;  // "hasPublicKey": "1" with a key, "0" without
    bool publicKey = false;     // "publicKey"
    bool details = false;       // "manufacturer", "registerDate", "ekShared", "description"
};

// Appends "list" to parent with one "cam" per row, in row order.
XmlNode* appendCamList(XmlDocument& doc, XmlNode* parent, const std::vector<doreldb::Record>& rows,
                       const CamListFields& fields);

// The "cam" children of a list (names ignoring case), in document order.
std::vector<const XmlNode*> camElements(const XmlNode* list);

// The values a "cam" element gives, by Quorvex column, for the children that
// are present (names ignoring case). The public key comes without the white
// space around it.
using CamValues = std::map<size_t, std::string>;
CamValues readCam(const XmlNode* cam);

// Text without white space at either end.
std::string trimmed(const std::string& text);

}  // namespace dorel_remote_control
