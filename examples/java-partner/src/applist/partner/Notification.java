package applist.partner;

/** The notifications to the host. */
enum Notification {
    /** The list of the partner has changed. */
    APPLIST_ITEM_CHANGE_EVENT(1),
    /** The user has moved the selection. The host sends its query for the selection. */
    APPLIST_ITEM_SELECTION_EVENT(2),
    /** The user has clicked an item. */
    APPLIST_ITEM_CLICKED_EVENT(3),
    /** The list of the partner is new and empty. The host sends its list. */
    APPLIST_LOCAL_CREATED_EVENT(4);

    final int id;

    Notification(int id) {
        this.id = id;
    }

    /** Name and id for the output. */
    String title() {
        return name() + " (" + id + ")";
    }
}
