#pragma once
// Where each item of a record lies. Every survey file starts its records with
// the same six items; the components' channels follow (each led by the items
// that its form keeps per component), then the user items and last the
// orientation angles. Code reaches record items through this map, never by
// literal offsets.

class xMFile;

class xRecordLayout {
  public:
    // The items every record begins with.
    enum BaseItem : long { Fid = 0, X = 1, Y = 2, Z = 3, Altitude = 4, Distance = 5 };

    explicit xRecordLayout(const xMFile& file);

    // Record length in floats.
    long Length() const { return length_; }
    long BaseItems() const { return baseItems_; }

    // The first channel of a component and their count; both 0 for a
    // component that is not in the file.
    long FirstChannel(long component) const;
    long ChannelCount(long component) const;

    // User items and orientation angles close every record, in that order.
    long FirstUserItem() const { return firstUser_; }
    long UserItems() const { return userItems_; }
    long FirstOrientationItem() const { return firstUser_ + userItems_; }
    long OrientationItems() const { return length_ - FirstOrientationItem(); }

  private:
    const xMFile* file_;
    long length_;
    long baseItems_;
    long firstUser_;
    long userItems_;
};

// One record read through its layout.
class xRecordView {
  public:
    xRecordView(const xRecordLayout& layout, const float* items) : layout_(layout), items_(items) {}

    float Fid() const { return items_[xRecordLayout::Fid]; }
    float X() const { return items_[xRecordLayout::X]; }
    float Y() const { return items_[xRecordLayout::Y]; }
    float Z() const { return items_[xRecordLayout::Z]; }
    float Altitude() const { return items_[xRecordLayout::Altitude]; }
    float Distance() const { return items_[xRecordLayout::Distance]; }
    // The component's channels, ChannelCount(component) of them.
    const float* Channels(long component) const { return items_ + layout_.FirstChannel(component); }
    const float* Items() const { return items_; }

  private:
    const xRecordLayout& layout_;
    const float* items_;
};
