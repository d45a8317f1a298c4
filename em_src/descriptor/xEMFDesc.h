#pragma once
// Where each quantity lies in a record of the survey's ASCII files. A record is
// a row of blank-separated items numbered from 1; a position of 0 means the
// quantity is not in the record. The converter reads records by this block, and
// the editor card fills it from a sample file.

#include <cstddef>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "DscStream.h"
#include "xMatrix.h"
#include "xTRClasf.h"

struct xEMFUserItem {
    std::string name;
    long position = 0;
    bool operator==(const xEMFUserItem&) const = default;
};

// One finding of the card's checks: a refusal, or a question that the user must
// confirm before the values are kept.
struct xEMFCheck {
    std::string text;
    bool isQuestion = false;
    bool operator==(const xEMFCheck&) const = default;
};

class xEMFDesc {
  public:
    static constexpr long CurrentVersion = 9;
    // Bounds of what a descriptor can sensibly hold; a file beyond them is broken.
    static constexpr long MaxChannels = 10000;
    static constexpr std::size_t MaxUserItems = 10000;
    static constexpr std::size_t MaxItemNameLength = 20;
    // Beyond these a record or a file head is a damaged number, not a survey.
    static constexpr long MinItemsPerRecord = 8;
    static constexpr long MaxItemsPerRecord = 100000;
    static constexpr long MaxCommentLines = 10000;

    // Ends the channel tables and the item list in the file, and separates the
    // named items from the user ones on the card.
    static constexpr const char* ItemSeparator = "----------------------";
    static constexpr const char* UserGroupTitle = "User Defined Items";
    static constexpr const char* NewItemPrompt = "Enter new user defined item label:";
    static constexpr const char* NewItemDefault = "User Item";
    // Heads the optional block after the item list that holds the value a survey
    // writes for a channel it has no reading for.
    static constexpr const char* MissingValueLabel = "MISSING VALUE OF THE CHANNELS";

    // The named items in the order the model keeps them: the angles go pitch,
    // yaw, roll here, while the file writes pitch, roll, yaw.
    enum class Item {
        Line,
        Fid,
        East,
        North,
        ZTopo,
        Altitude,
        RxPitch,
        RxYaw,
        RxRoll,
        TxPitch,
        TxYaw,
        TxRoll
    };
    static constexpr int NumberOfItems = 12;
    // "line", "FID", "east", "north", "z_topo", "altitude", "Rx_pitch", ...
    static const char* ItemName(Item item);
    // The first six must be given; the angles may be absent.
    static bool IsRequired(Item item);
    // The items in the order of the file's rows.
    static const std::vector<Item>& FileOrder();

    // One channel (TzRz by the default classification) and the user item
    // "z(ASL)" at position 0.
    xEMFDesc();

    // The block of the descriptor from the title to the closing separator.
    // Versions below 9 have the older layout with a label before each group of
    // positions and no user items. Nothing changes unless the whole block was
    // read; a failure also fails the reader. The classification is left alone:
    // it belongs to the descriptor, not to this block.
    bool Read(xDscReader& in, long fileVersion, bool frequencyDomain);
    // Always the version 9 layout; the missing-value block only when one is set,
    // so that a descriptor without one reads and writes as before.
    void Write(std::ostream& out) const;

    // Same record layout: domain, Geosoft flag, comment lines, items, the named
    // and user positions, the classification, for each component with channels
    // its positions, and the missing value. Title, sample file and version do
    // not count.
    bool operator==(const xEMFDesc& other) const;
    bool operator!=(const xEMFDesc& other) const { return !(*this == other); }
    // Same quantities in the records, wherever they lie: domain, components and
    // their channel counts, which named items are present, and the user item
    // names in order.
    bool HasSameTitles(const xEMFDesc& other) const;

    // Rows 1..n of the three maps, n clamped to 1..MaxChannels; the positions of
    // the rows that remain are kept.
    void SetChannels(long n);
    long Channels() const { return channelMap.Rows(); }
    // Takes the counts and sizes the maps to the largest of them.
    void SetClassification(const xTRClasf& counts);
    // Channels per component counted from the maps: the non-zero positions of a
    // column (in frequency domain the larger count of in-phase and quadrature).
    // Column 100 counts nothing. An old file has no classification but this.
    xTRClasf ClassificationFromMaps() const;

    long Position(Item item) const;
    void SetPosition(Item item, long position);
    // A channel's position in a record for component id; 0 outside the map.
    long ChannelPosition(long channel, long id) const;
    long InPhasePosition(long channel, long id) const;
    long QuadraturePosition(long channel, long id) const;
    // The position of the user item of that name, 0 when there is none.
    long UserItemPosition(const std::string& name) const;
    // Every position a record is read at, ascending, each once.
    std::vector<long> UsedPositions() const;

    // Why a user item could not carry this name ("" when it can). The item at
    // index `self` is not a duplicate of itself.
    std::string ItemNameProblem(const std::string& name, std::size_t self = std::size_t(-1)) const;
    // The card's checks at Parse or OK, each message once, in the card's order.
    std::vector<xEMFCheck> Validate() const;
    // What no converter can read records by, beyond the card's checks: a flag,
    // count or position that does not fit the record, or a component whose
    // channels (per component, not doubled in frequency domain) lack a position.
    std::vector<std::string> RecordProblems(const xTRClasf& channels) const;

    std::string title = "DATA FORMAT";
    short geosoftFormat = 0;
    short isFrequencyDomain = 0;
    std::string sampleFile;
    long commentLines = 0;
    long itemsPerRecord = 0;
    long posLine = 0;
    long posFid = 0;
    long posEast = 0;
    long posNorth = 0;
    long posZTopo = 0;
    long posAltitude = 0;
    long posRxPitch = 0;
    long posRxYaw = 0;
    long posRxRoll = 0;
    long posTxPitch = 0;
    long posTxYaw = 0;
    long posTxRoll = 0;
    std::vector<xEMFUserItem> userItems{{"z(ASL)", 0}};
    // Rows 1..channels, columns 100..109 by component id; column 100 is unused.
    FloatMatrix channelMap;
    FloatMatrix inPhaseMap;
    FloatMatrix quadratureMap;
    xTRClasf classification;
    // The value the survey writes for a reading it does not have; a record
    // holding it in a position item is left out, a channel holding it is blank.
    std::optional<double> missingValue;
    long version = CurrentVersion;

  private:
    long* Field(Item item);
    const long* Field(Item item) const;
    bool SameMapsAs(const xEMFDesc& other) const;
    // Why a position does not fit the record ("" when it does).
    std::string PositionProblem(const std::string& what, long position) const;
    // The first of a component's channels without a place in the record, said.
    std::string ChannelProblem(long id, long channels) const;
};
